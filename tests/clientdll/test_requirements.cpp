// Requirement groups of a script entry judged against the machine the tests run on.

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "clientdll/installscript_requirements.h"
#include "common/ostype.h"
#include "evaluatortestsupport.h"
#include "tier0/cputopology.h"
#include "vstdlib/strtools.h"

namespace
{

TEST(Requirements, EntryRunsOnlyWhereEveryRequirementGroupHolds)
{
    const CPUInformation_s& cpu = GetCPUInformation();
    std::string strOwnCPU = cpu.m_pszProcessorID;
    for (char& ch : strOwnCPU)
        ch = V_tolower_ascii(ch);
    std::string strOwnOS = PchNameFromEOSType(GetRunningOSType());
    for (char& ch : strOwnOS)
        ch = V_toupper_ascii(ch);
    const std::pair<const char*, std::string> rgMarks[] = {
        {"@CPU@", strOwnCPU},
        {"@OTHERCPU@", strOwnCPU == "genuineintel" ? "AuthenticAMD" : "GenuineIntel"},
        {"@COUNT@", std::to_string(cpu.m_nPhysicalProcessors)},
        {"@OTHERCOUNT@", std::to_string(cpu.m_nPhysicalProcessors + 1)},
        {"@OS@", strOwnOS},
        {"@OTHEROS@", strOwnOS == "WINDOWS 95" ? "Windows 98" : "Windows 95"},
        {"@KB@", std::to_string(GetVistaKB940105Flag())},
        {"@OTHERKB@", std::to_string(1 - GetVistaKB940105Flag())},
    };
    const char k_szGPU[] = R"("Requirement_GPU" { "VendorID" "none" "Is64BitWindows" "0" })";
    const char k_szOS64[] = R"("Requirement_OS" { "Is64BitWindows" "1" })";
    // {groups of the entry, the run's language, whether they hold}
    const std::tuple<std::string, const char*, bool> rgCases[] = {
        {R"("Requirement_CPU" {})", "english", true},
        {R"("Requirement_CPU" { "ProcessorID" "@CPU@" })", "english", true},
        {R"("Requirement_CPU" { "ProcessorID" "@OTHERCPU@" })", "english", false},
        {R"("requirement_cpu" { "PhysicalProcessors" "@COUNT@" })", "english", true},
        {R"("Requirement_CPU" { "PhysicalProcessors" "0" "ProcessorID" "@CPU@" })", "", true},
        {R"("Requirement_CPU" { "PhysicalProcessors" "@OTHERCOUNT@" })", "english", false},
        {R"("Requirement_CPU" { "ProcessorID" "@CPU@" "PhysicalProcessors" "@OTHERCOUNT@" })", "english",
         false},
        {k_szOS64, "english", true},
        {R"("Requirement_OS" { "Is64BitWindows" "0" })", "english", false},
        {R"("REQUIREMENT_OS" { "OSType" "@OS@" })", "english", true},
        {R"("Requirement_OS" { "OSType" "@OTHEROS@" "Is64BitWindows" "1" })", "english", false},
        {R"("Requirement_OS" { "VistaKB940105" "@KB@" })", "english", true},
        {R"("Requirement_OS" { "VistaKB940105" "@OTHERKB@" })", "english", false},
        {R"("Requirement_Language" {})", "ENGLISH", true},
        {R"("Requirement_Language" {})", "german", false},
        {R"("Requirement_Language" {})", "", false},
        {R"("Requirement_Language" { "GameLanguage" "German" })", "german", true},
        {R"("requirement_language" { "GameLanguage" "german" })", "english", false},
        {"", "german", true},
        {k_szGPU, "english", true},
        {k_szOS64 + std::string(k_szGPU) + R"("Requirement_Language" { "GameLanguage" "x" })", "english",
         false},
        {R"("Requirement_Language" { "GameLanguage" "x" })" + std::string(k_szOS64), "english", false},
        {k_szOS64 + std::string(R"("Requirement_Language" {})"), "English", true},
    };
    for (const auto& [strGroups, pszLanguage, bHolds] : rgCases)
    {
        // Plain values beside the groups, even under a requirement's name, are not groups.
        std::string strText = "\"entry\" { \"Requirement_OS_Value\" \"x\" " + strGroups + " }";
        for (const auto& [pszMark, strValue] : rgMarks)
            strText = Replaced(strText, pszMark, strValue);
        EXPECT_EQ(bHolds, BCheckRequirements(ParseKeyValues(strText).get(), pszLanguage))
            << strText << " " << pszLanguage;
    }
}

} // namespace
