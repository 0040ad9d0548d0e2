#pragma once
// Raw Win32 access to the test prefix's registry, to see what the registry layer did
// without going through it; scratch keys; the files the build puts beside the test program.

#include <windows.h>

#include <filesystem>
#include <optional>
#include <string>

constexpr REGSAM k_sam32 = KEY_WOW64_32KEY;
constexpr REGSAM k_sam64 = KEY_WOW64_64KEY;
constexpr char k_szLayersKey[] = "Software\\Microsoft\\Windows NT\\CurrentVersion\\AppCompatFlags\\Layers";

// pszParent\IseTest_<suite>_<test>, removed from every hive and view the tests use before
// the test and after it.
class CScratchRegKey
{
public:
    explicit CScratchRegKey(const char* pszParent);
    ~CScratchRegKey() { RawDeleteEverywhere(m_strPath); }
    const char* Path() const { return m_strPath.c_str(); }
    std::string Sub(const char* pszChild) const { return m_strPath + "\\" + pszChild; }
    static void RawDeleteEverywhere(const std::string& strKey);

private:
    std::string m_strPath;
};

// "Software\Pellan\Korvex\Apps\<id>", removed alike.
class CScratchAppKey
{
public:
    explicit CScratchAppKey(unsigned int unAppID);
    ~CScratchAppKey() { CScratchRegKey::RawDeleteEverywhere(m_strKey); }
    const std::string& Key() const { return m_strKey; }

private:
    std::string m_strKey;
};

struct RawValue_s
{
    DWORD m_dwType;
    std::string m_strBytes;
};

// samView is KEY_WOW64_32KEY, KEY_WOW64_64KEY or 0. Missing keys are fine everywhere.
void RawDeleteTree(HKEY hHive, REGSAM samView, const std::string& strKey);
// Number of subkeys plus values, -1 when the key is missing.
int RawCountEntries(HKEY hHive, REGSAM samView, const std::string& strKey);
bool RawCreateKey(HKEY hHive, REGSAM samView, const std::string& strKey, bool bVolatile = false);
// Creates the key as needed.
bool RawSetValue(HKEY hHive, REGSAM samView, const std::string& strKey, const wchar_t* pwszName, DWORD dwType,
                 const void* pvData, DWORD cbData);
std::optional<RawValue_s> RawGetValue(HKEY hHive, REGSAM samView, const std::string& strKey,
                                      const wchar_t* pwszName);
// A REG_SZ value in UTF-8, converted by Windows.
std::optional<std::string> RawGetString(HKEY hHive, REGSAM samView, const std::string& strKey,
                                        const wchar_t* pwszName);
std::optional<DWORD> RawGetDword(HKEY hHive, REGSAM samView, const std::string& strKey,
                                 const wchar_t* pwszName);

inline bool RawSetDword(HKEY hHive, REGSAM samView, const std::string& strKey, const wchar_t* pwszName,
                        DWORD dw)
{
    return RawSetValue(hHive, samView, strKey, pwszName, REG_DWORD, &dw, sizeof(dw));
}
inline bool RawSetString(HKEY hHive, REGSAM samView, const std::string& strKey, const wchar_t* pwszName,
                         const wchar_t* pwszValue)
{
    return RawSetValue(hHive, samView, strKey, pwszName, REG_SZ, pwszValue,
                       (DWORD)(wcslen(pwszValue) + 1) * 2);
}

// A file in the test program's own folder.
std::filesystem::path BesideTestProgram(const char* pszName);
