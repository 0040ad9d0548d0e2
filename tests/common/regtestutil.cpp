#include "regtestutil.h"

#include <gtest/gtest.h>

namespace
{

HKEY OpenRaw(HKEY hHive, REGSAM samView, const std::string& strKey)
{
    HKEY hKey = nullptr;
    return RegOpenKeyExA(hHive, strKey.c_str(), 0, KEY_ALL_ACCESS | samView, &hKey) == ERROR_SUCCESS
               ? hKey
               : nullptr;
}

HKEY CreateRaw(HKEY hHive, REGSAM samView, const std::string& strKey, bool bVolatile)
{
    HKEY hKey = nullptr;
    return RegCreateKeyExA(hHive, strKey.c_str(), 0, nullptr,
                           bVolatile ? REG_OPTION_VOLATILE : REG_OPTION_NON_VOLATILE,
                           KEY_ALL_ACCESS | samView, nullptr, &hKey, nullptr) == ERROR_SUCCESS
               ? hKey
               : nullptr;
}

} // namespace

CScratchRegKey::CScratchRegKey(const char* pszParent)
{
    const testing::TestInfo* pInfo = testing::UnitTest::GetInstance()->current_test_info();
    m_strPath = std::string(pszParent) + "\\IseTest_" + pInfo->test_suite_name() + "_" + pInfo->name();
    RawDeleteEverywhere(m_strPath);
}

void CScratchRegKey::RawDeleteEverywhere(const std::string& strKey)
{
    for (HKEY hHive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT})
    {
        for (REGSAM samView : {k_sam32, k_sam64})
            RawDeleteTree(hHive, samView, strKey);
    }
}

CScratchAppKey::CScratchAppKey(unsigned int unAppID)
    : m_strKey("Software\\Pellan\\Korvex\\Apps\\" + std::to_string(unAppID))
{
    CScratchRegKey::RawDeleteEverywhere(m_strKey);
}

void RawDeleteTree(HKEY hHive, REGSAM samView, const std::string& strKey)
{
    if (HKEY hKey = OpenRaw(hHive, samView, strKey))
    {
        RegDeleteTreeA(hKey, nullptr);
        RegCloseKey(hKey);
        RegDeleteKeyExA(hHive, strKey.c_str(), samView, 0);
    }
}

int RawCountEntries(HKEY hHive, REGSAM samView, const std::string& strKey)
{
    HKEY hKey = OpenRaw(hHive, samView, strKey);
    DWORD cSubKeys = 0;
    DWORD cValues = 0;
    if (!hKey)
        return -1;
    RegQueryInfoKeyA(hKey, nullptr, nullptr, nullptr, &cSubKeys, nullptr, nullptr, &cValues, nullptr, nullptr,
                     nullptr, nullptr);
    RegCloseKey(hKey);
    return (int)(cSubKeys + cValues);
}

bool RawCreateKey(HKEY hHive, REGSAM samView, const std::string& strKey, bool bVolatile)
{
    HKEY hKey = CreateRaw(hHive, samView, strKey, bVolatile);
    if (hKey)
        RegCloseKey(hKey);
    return hKey != nullptr;
}

bool RawSetValue(HKEY hHive, REGSAM samView, const std::string& strKey, const wchar_t* pwszName, DWORD dwType,
                 const void* pvData, DWORD cbData)
{
    HKEY hKey = CreateRaw(hHive, samView, strKey, false);
    const bool bSet = hKey && RegSetValueExW(hKey, pwszName, 0, dwType, static_cast<const BYTE*>(pvData),
                                             cbData) == ERROR_SUCCESS;
    if (hKey)
        RegCloseKey(hKey);
    return bSet;
}

std::optional<RawValue_s> RawGetValue(HKEY hHive, REGSAM samView, const std::string& strKey,
                                      const wchar_t* pwszName)
{
    HKEY hKey = OpenRaw(hHive, samView, strKey);
    RawValue_s value{REG_NONE, std::string()};
    DWORD cbData = 0;
    bool bFound = hKey && RegQueryValueExW(hKey, pwszName, nullptr, &value.m_dwType, nullptr, &cbData) == 0;
    value.m_strBytes.resize(cbData);
    bFound = bFound && RegQueryValueExW(hKey, pwszName, nullptr, &value.m_dwType,
                                        reinterpret_cast<BYTE*>(value.m_strBytes.data()), &cbData) == 0;
    if (hKey)
        RegCloseKey(hKey);
    return bFound ? std::optional<RawValue_s>(value) : std::nullopt;
}

std::optional<std::string> RawGetString(HKEY hHive, REGSAM samView, const std::string& strKey,
                                        const wchar_t* pwszName)
{
    const std::optional<RawValue_s> value = RawGetValue(hHive, samView, strKey, pwszName);
    if (!value || value->m_dwType != REG_SZ)
        return std::nullopt;
    char szUTF8[1024] = "";
    WideCharToMultiByte(CP_UTF8, 0, reinterpret_cast<const wchar_t*>(value->m_strBytes.c_str()),
                        (int)value->m_strBytes.size() / 2, szUTF8, sizeof(szUTF8) - 1, nullptr, nullptr);
    return std::string(szUTF8);
}

std::optional<DWORD> RawGetDword(HKEY hHive, REGSAM samView, const std::string& strKey,
                                 const wchar_t* pwszName)
{
    const std::optional<RawValue_s> value = RawGetValue(hHive, samView, strKey, pwszName);
    if (!value || value->m_dwType != REG_DWORD)
        return std::nullopt;
    return *reinterpret_cast<const DWORD*>(value->m_strBytes.data());
}

std::filesystem::path BesideTestProgram(const char* pszName)
{
    wchar_t wszPath[MAX_PATH];
    GetModuleFileNameW(nullptr, wszPath, MAX_PATH);
    return std::filesystem::path(wszPath).replace_filename(pszName);
}
