// Requirement groups of a script entry judged against the machine the tests run on.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "clientdll/installscript_requirements.h"
#include "common/ostype.h"
#include "tier0/cputopology.h"
#include "tier1/keyvalues.h"
#include "vstdlib/strtools.h"

namespace
{

struct Group_s
{
    const char* m_pszName;
    std::vector<std::pair<const char*, std::string>> m_vecKeys;
};

struct Case_s
{
    const char* m_pszWhat;
    std::vector<Group_s> m_vecGroups;
    const char* m_pszRunLanguage;
    bool m_bHolds;
};

void ExpectCases(const std::vector<Case_s>& vecCases)
{
    for (const Case_s& c : vecCases)
    {
        std::unique_ptr<KeyValues> pkvEntry(new KeyValues("entry"));
        // Plain values beside the groups, even under a requirement's name, are not groups.
        pkvEntry->SetKeyString("Requirement_OS_Value", "x");
        for (const Group_s& group : c.m_vecGroups)
        {
            KeyValues* pkvGroup = new KeyValues(group.m_pszName);
            pkvEntry->AddSubKey(pkvGroup);
            for (const auto& key : group.m_vecKeys)
                pkvGroup->SetKeyString(key.first, key.second.c_str());
        }
        EXPECT_EQ(c.m_bHolds, BCheckRequirements(pkvEntry.get(), c.m_pszRunLanguage)) << c.m_pszWhat;
    }
}

std::string Lower(const char* pszText)
{
    std::string str(pszText);
    V_strlower(&str[0]);
    return str;
}

TEST(Requirements, ProcessorVendorAndPhysicalCount)
{
    const CPUInformation_s& cpu = GetCPUInformation();
    const std::string strOwn = Lower(cpu.m_pszProcessorID);
    const std::string strOther = strOwn == "genuineintel" ? "AuthenticAMD" : "GenuineIntel";
    const std::string strCount = std::to_string(cpu.m_nPhysicalProcessors);
    const std::string strOtherCount = std::to_string(cpu.m_nPhysicalProcessors + 1);
    ExpectCases({
        {"empty group", {{"Requirement_CPU", {}}}, "english", true},
        {"own vendor", {{"Requirement_CPU", {{"ProcessorID", strOwn}}}}, "english", true},
        {"other vendor", {{"Requirement_CPU", {{"ProcessorID", strOther}}}}, "english", false},
        {"own count", {{"requirement_cpu", {{"PhysicalProcessors", strCount}}}}, "english", true},
        {"any count",
         {{"Requirement_CPU", {{"PhysicalProcessors", "0"}, {"ProcessorID", strOwn}}}},
         "",
         true},
        {"other count", {{"Requirement_CPU", {{"PhysicalProcessors", strOtherCount}}}}, "english", false},
        {"own vendor, other count",
         {{"Requirement_CPU", {{"ProcessorID", strOwn}, {"PhysicalProcessors", strOtherCount}}}},
         "english",
         false},
    });
}

TEST(Requirements, OperatingSystemNameBitnessAndVistaDriver)
{
    const std::string strOwnName = PchNameFromEOSType(GetRunningOSType());
    std::string strUpperName = strOwnName;
    for (char& ch : strUpperName)
        ch = V_toupper_ascii(ch);
    const std::string strOtherName = strOwnName == "Windows 95" ? "Windows 98" : "Windows 95";
    const std::string strKB940105 = std::to_string(GetVistaKB940105Flag());
    const std::string strNotKB940105 = std::to_string(1 - GetVistaKB940105Flag());
    ExpectCases({
        {"only 64-bit", {{"Requirement_OS", {{"Is64BitWindows", "1"}}}}, "english", true},
        {"only 32-bit", {{"Requirement_OS", {{"Is64BitWindows", "0"}}}}, "english", false},
        {"own name in capitals", {{"REQUIREMENT_OS", {{"OSType", strUpperName}}}}, "english", true},
        {"other name",
         {{"Requirement_OS", {{"OSType", strOtherName}, {"Is64BitWindows", "1"}}}},
         "english",
         false},
        {"own driver flag", {{"Requirement_OS", {{"VistaKB940105", strKB940105}}}}, "english", true},
        {"other driver flag", {{"Requirement_OS", {{"VistaKB940105", strNotKB940105}}}}, "english", false},
    });
}

TEST(Requirements, LanguageDefaultsToEnglish)
{
    ExpectCases({
        {"default, english", {{"Requirement_Language", {}}}, "english", true},
        {"default, ENGLISH", {{"Requirement_Language", {}}}, "ENGLISH", true},
        {"default, german", {{"Requirement_Language", {}}}, "german", false},
        {"default, no language", {{"Requirement_Language", {}}}, "", false},
        {"German, german", {{"Requirement_Language", {{"GameLanguage", "German"}}}}, "german", true},
        {"german, english", {{"requirement_language", {{"GameLanguage", "german"}}}}, "english", false},
    });
}

TEST(Requirements, EveryGroupCountsAndOtherNamesAreIgnored)
{
    const Group_s failingGpu = {"Requirement_GPU", {{"VendorID", "none"}, {"Is64BitWindows", "0"}}};
    const Group_s failingLanguage = {"Requirement_Language", {{"GameLanguage", "klingon"}}};
    const Group_s passingOS = {"Requirement_OS", {{"Is64BitWindows", "1"}}};
    ExpectCases({
        {"no groups", {}, "german", true},
        {"unknown group only", {failingGpu}, "english", true},
        {"failure last", {passingOS, failingGpu, failingLanguage}, "english", false},
        {"failure first", {failingLanguage, passingOS}, "english", false},
        {"two passing", {passingOS, {"Requirement_Language", {}}}, "English", true},
    });
}

} // namespace
