// The registry section end to end, and its writers in-process where the text itself is
// the point.

#include <gtest/gtest.h>

#include <windows.h>

#include "clientdll/installscript_registry.h"
#include "evaluatortestsupport.h"
#include "spewcapture.h"
#include "tier1/keyvalues.h"

namespace
{

constexpr ERegKeyRoot k_eCurrentUser32 = ERegKeyRoot(k_ERegKeyRootCurrentUser | k_ERegKeyRootForce32Bit);

// Runs a job of the script with every "KEY" replaced by the key path and answers its log.
std::vector<std::string> RunScript(const CScratchDir& dir, unsigned int unAppID, int nMode,
                                   const char* pszScript, const std::string& strKey)
{
    return RunGroupJob(dir, unAppID, nMode, Replaced(pszScript, "KEY", Replaced(strKey, "\\", "\\\\")));
}

// The bytes of a binary value in the 32-bit view of the machine's hive.
std::string Binary(const std::string& strKey, const wchar_t* pwszName)
{
    const std::optional<RawValue_s> value = RawGetValue(HKEY_LOCAL_MACHINE, k_sam32, strKey, pwszName);
    return value && value->m_dwType == REG_BINARY ? value->m_strBytes : "not binary";
}

std::string CodePageText(const wchar_t* pwszText)
{
    char szText[64] = "";
    WideCharToMultiByte(CP_ACP, 0, pwszText, -1, szText, sizeof(szText), nullptr, nullptr);
    return szText;
}

TEST(RegistrySectionRun, InstallWritesEachGroupOrLogsWhyNot)
{
    CScratchDir dir;
    CScratchRegKey key("Software");
    const std::string strKeep = key.Sub("Keep");
    // A volatile key takes no lasting subkeys, so every write below it fails.
    ASSERT_TRUE(RawCreateKey(HKEY_CURRENT_USER, 0, key.Sub("Volatile"), true));
    RawSetDword(HKEY_LOCAL_MACHINE, k_sam32, strKeep, L"Dword", 9);
    RawSetDword(HKEY_LOCAL_MACHINE, k_sam32, strKeep, L"StringOverDword", 3);
    RawSetString(HKEY_LOCAL_MACHINE, k_sam32, strKeep, L"StringKept", L"old");
    RawSetString(HKEY_LOCAL_MACHINE, k_sam32, strKeep, L"BinaryOverString", L"x");
    const char* pszScript = R"kv("language" "German" "compat_installscript" {
    "utf8_registry_strings" "1"
    "Registry" {
        "HKLM\\KEY" {
            "string" { "(default)" "%INSTALLDIR%" "Word" "h"
                       "german" { "Word" "Grüße" } "french" { "Word" "x" } }
            "DWORD" { "(Default)" "5" "NaN" "abc" "Max" "4294967295" "Neg" "-1"
                      "Count" "1" "GERMAN" { "Count" "2" } }
            "binary" { "Two" "0A0b0" "Zero" "zz" "Odd" "F" "Digits" "09afAF" }
            "bogus" { "Ignored" "1" } "string" "not a group" "dword" {} }
        "HKLM64\\KEY" { "string" { "(Default)" "64" } }
        "HKCU\\KEY" { "string_from_regkey" {
            "Copied" "HKLM\\KEY\\Word" "Missing" "HKLM\\KEY\\NoSuchValue" "NoRoot" "KEY\\Word" } }
        "NoRoot\\KEY" { "string" { "Ignored" "1" } } "JustAName" { "string" { "Ignored" "1" } }
        "HKCU\\KEY\\Volatile\\Sub" { "string" { "(DEFAULT)" "s" } "dword" { "d" "7" }
                                     "binary" { "b" "0A" } } }
    "Registry If Not Present" { "HKLM\\KEY\\Keep" { "dword" { "Dword" "1" }
        "string" { "StringOverDword" "new" "StringKept" "new" }
        "binary" { "BinaryOverString" "FF" "Fresh" "01" } } }
    })kv";

    const std::string strFailedKey = "[HKEY_CURRENT_USER (force 32Bit)\\" + key.Sub("Volatile\\Sub") + "] ";
    EXPECT_EQ((std::vector<std::string>{
                  "Failed to set registry STRING " + strFailedKey + "\"(Default)\" = \"s\"",
                  "Failed to set registry DWORD " + strFailedKey + "\"d\" = 7",
                  "Failed to set registry BINARY " + strFailedKey + "\"b\" = \"0A\"",
              }),
              RunScript(dir, 990611, 1, pszScript, key.Path()));

    // Unqualified HKLM is the 32-bit view; HKLM64 the other one.
    EXPECT_EQ(dir.File("game"), RawGetString(HKEY_LOCAL_MACHINE, k_sam32, key.Path(), L""));
    EXPECT_EQ("Grüße", RawGetString(HKEY_LOCAL_MACHINE, k_sam32, key.Path(), L"Word"));
    EXPECT_EQ("64", RawGetString(HKEY_LOCAL_MACHINE, k_sam64, key.Path(), L""));
    EXPECT_FALSE(RawGetValue(HKEY_LOCAL_MACHINE, k_sam64, key.Path(), L"Word"));
    const std::pair<const wchar_t*, DWORD> rgDwords[] = {
        {L"(Default)", 5}, {L"NaN", 0}, {L"Max", 0xFFFFFFFF}, {L"Neg", 0xFFFFFFFF}, {L"Count", 2}};
    for (const auto& dword : rgDwords)
        EXPECT_EQ(dword.second, RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, key.Path(), dword.first));
    // Two digits a byte, an odd last one ignored, anything but a digit read as 0.
    const std::pair<const wchar_t*, std::string> rgBinaries[] = {
        {L"Two", "\x0A\x0B"}, {L"Zero", std::string(1, '\0')}, {L"Odd", ""}, {L"Digits", "\x09\xAF\xAF"}};
    for (const auto& binary : rgBinaries)
        EXPECT_EQ(binary.second, Binary(key.Path(), binary.first));
    EXPECT_FALSE(RawGetValue(HKEY_LOCAL_MACHINE, k_sam32, key.Path(), L"Ignored"));

    EXPECT_EQ("Grüße", RawGetString(HKEY_CURRENT_USER, 0, key.Path(), L"Copied"));
    EXPECT_EQ(2, RawCountEntries(HKEY_CURRENT_USER, 0, key.Path())); // and the volatile key

    EXPECT_EQ(9u, RawGetDword(HKEY_LOCAL_MACHINE, k_sam32, strKeep, L"Dword"));
    EXPECT_EQ("new", RawGetString(HKEY_LOCAL_MACHINE, k_sam32, strKeep, L"StringOverDword"));
    EXPECT_EQ("old", RawGetString(HKEY_LOCAL_MACHINE, k_sam32, strKeep, L"StringKept"));
    EXPECT_EQ("x", RawGetString(HKEY_LOCAL_MACHINE, k_sam32, strKeep, L"BinaryOverString"));
    EXPECT_EQ("\x01", Binary(strKeep, L"Fresh"));
}

TEST(RegistrySectionRun, UninstallRemovesOnlyWhatTheScriptNamed)
{
    CScratchDir dir;
    CScratchRegKey key("Software");
    for (const wchar_t* pwszName : {L"A", L"L", L"W"})
        RawSetString(HKEY_CURRENT_USER, 0, key.Sub("Emptied"), pwszName, L"v");
    RawSetDword(HKEY_CURRENT_USER, 0, key.Sub("Foreign"), L"Mine", 1);
    RawSetDword(HKEY_CURRENT_USER, 0, key.Sub("Foreign"), L"Other", 1);
    const char* pszScript = R"kv("language" "german" "compat_installscript" { "Registry" {
            "HKCU\\KEY\\Emptied" { "string" { "A" "x" "german" { "A" "y" "L" "z" } } "anything" { "W" "1" } }
            "HKCU\\KEY\\Foreign" { "dword" { "Mine" "1" } } }
        "Registry If Not Present" { "HKCU\\KEY\\Absent" { "binary" { "Gone" "00" } } }
    })kv";

    // Failures are logged, not passed on to the exit code.
    const std::string strPrefix = "Failed to delete value [HKEY_CURRENT_USER (force 32Bit)\\";
    EXPECT_EQ((std::vector<std::string>{
                  strPrefix + key.Sub("Emptied") + "] \"A\"", // the language leaf took it first
                  strPrefix + key.Sub("Absent") + "] \"Gone\"",
              }),
              RunScript(dir, 990612, 3, pszScript, key.Path()));
    EXPECT_EQ(0, RawCountEntries(HKEY_CURRENT_USER, 0, key.Sub("Emptied")));
    EXPECT_EQ(1, RawCountEntries(HKEY_CURRENT_USER, 0, key.Sub("Foreign")));
    EXPECT_TRUE(RawGetDword(HKEY_CURRENT_USER, 0, key.Sub("Foreign"), L"Other"));
    // Deleting a value makes its key, which is then left empty.
    EXPECT_EQ(0, RawCountEntries(HKEY_CURRENT_USER, 0, key.Sub("Absent")));
}

TEST(RegistrySectionWriters, StringValuesKeepTheirCharactersInEitherEncodingWithinTheValueLimit)
{
    CScratchDir dir(true);
    CScratchRegKey key("Software");
    CSpewCapture capture;
    CQuietStderr quiet;
    SetEnvironmentVariableW(L"ISE_REGSEC_WORD", L"Grüße");
    const std::string strEuroCodePage = CodePageText(L"€");
    ASSERT_EQ(1u, strEuroCodePage.size()) << "the prefix's code page has a one-byte euro sign";
    for (bool bUTF8 : {false, true})
    {
        SCOPED_TRACE(bUTF8);
        std::unique_ptr<KeyValues> pkvLeaves(new KeyValues("group"));
        pkvLeaves->SetKeyString("Text",
                                ("%ISE_REGSEC_WORD% " + (bUTF8 ? "é€" : CodePageText(L"é€"))).c_str());
        pkvLeaves->SetKeyString(
            "Cut", Replaced(std::string(30000, 'e'), "e", bUTF8 ? "€" : strEuroCodePage).c_str());
        pkvLeaves->SetKeyString("Long", std::string(32767, 'a').c_str()); // more than the system expands
        CInstallScriptRegistry registry(990614, "english", bUTF8);
        EXPECT_TRUE(registry.WriteRegistryStrings(k_eCurrentUser32, key.Path(), pkvLeaves.get(), true));
        EXPECT_EQ("Grüße é€", RawGetString(HKEY_CURRENT_USER, 0, key.Path(), L"Text"));
        // 65,535 bytes hold 21,845 three-byte characters.
        const std::optional<RawValue_s> value = RawGetValue(HKEY_CURRENT_USER, 0, key.Path(), L"Cut");
        EXPECT_EQ((21845u + 1) * 2, value ? value->m_strBytes.size() : 0);
        EXPECT_FALSE(RawGetValue(HKEY_CURRENT_USER, 0, key.Path(), L"Long"));
    }
    // Only the code-page conversion reports what it cut.
    EXPECT_EQ(1, capture.CountFailedAssertions(
                     "V_LocaleSpecificANSIToUTF8( strExpanded.Get(), -1, pchDataBuf, cchDataBufMax ) != 0"));
    EXPECT_TRUE(dir.LogLines().empty());
}

TEST(RegistrySectionWriters, MissingKeysAreRefused)
{
    CScratchDir dir(true);
    CScratchRegKey key("Software");
    CSpewCapture capture;
    CQuietStderr quiet;
    CInstallScriptRegistry registry(990614, "english", false);
    EXPECT_TRUE(registry.ApplyRegistrySection(k_eCurrentUser32, nullptr, nullptr, true));
    EXPECT_FALSE(registry.WriteRegistryStrings(k_eCurrentUser32, key.Path(), nullptr, true));
    EXPECT_EQ(1, capture.CountFailedAssertions("pchPath && pRegistryKey"));
    EXPECT_EQ(1, capture.CountFailedAssertions("pStringKey"));
    EXPECT_TRUE(dir.LogLines().empty());
}

} // namespace
