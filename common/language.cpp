#include "common/language.h"

#include "vstdlib/strtools.h"

namespace
{

struct LanguageInfo_s
{
    ELanguage m_eLanguage;
    const char* m_pszName;
    uint16 m_unWindowsId;
};

const LanguageInfo_s k_rgLanguages[] = {
    {k_ELanguageEnglish, "english", 1033},
    {k_ELanguageGerman, "german", 1031},
    {k_ELanguageFrench, "french", 1036},
    {k_ELanguageItalian, "italian", 1040},
    {k_ELanguageSpanish, "spanish", 3082},
    {k_ELanguageRussian, "russian", 1049},
    {k_ELanguageUkrainian, "ukrainian", 1058},
    {k_ELanguageJapanese, "japanese", 1041},
    {k_ELanguageKorean, "korean", 1042},
    {k_ELanguageSimplifiedChinese, "simplifiedchinese", 2052},
    {k_ELanguageTraditionalChinese, "traditionalchinese", 1028},
    {k_ELanguagePolish, "polish", 1045},
    {k_ELanguagePortuguese, "portuguese", 2070},
    {k_ELanguageBrazilian, "brazilian", 1046},
    {k_ELanguageDutch, "dutch", 1043},
    {k_ELanguageDanish, "danish", 1030},
    {k_ELanguageFinnish, "finnish", 1035},
    {k_ELanguageNorwegian, "norwegian", 1044},
    {k_ELanguageSwedish, "swedish", 1053},
    {k_ELanguageCzech, "czech", 1029},
    {k_ELanguageHungarian, "hungarian", 1038},
    {k_ELanguageRomanian, "romanian", 1048},
    {k_ELanguageBulgarian, "bulgarian", 1026},
    {k_ELanguageGreek, "greek", 1032},
    {k_ELanguageTurkish, "turkish", 1055},
    {k_ELanguageThai, "thai", 1054},
    {k_ELanguageVietnamese, "vietnamese", 1066},
    {k_ELanguageArabic, "arabic", 1025},
};
static_assert(V_ARRAYSIZE(k_rgLanguages) == k_ELanguageCount, "one row per language");

const LanguageInfo_s* FindLanguage(ELanguage eLanguage)
{
    for (const LanguageInfo_s& info : k_rgLanguages)
    {
        if (info.m_eLanguage == eLanguage)
            return &info;
    }
    return nullptr;
}

} // namespace

ELanguage GetLanguageFromName(const char* pszName)
{
    if (!pszName)
        return k_ELanguageUnknown;
    for (const LanguageInfo_s& info : k_rgLanguages)
    {
        if (V_stricmp(info.m_pszName, pszName) == 0)
            return info.m_eLanguage;
    }
    return k_ELanguageUnknown;
}

const char* GetLanguageName(ELanguage eLanguage)
{
    const LanguageInfo_s* pInfo = FindLanguage(eLanguage);
    return pInfo ? pInfo->m_pszName : "";
}

uint16 GetLanguageWindowsId(ELanguage eLanguage)
{
    const LanguageInfo_s* pInfo = FindLanguage(eLanguage);
    return pInfo ? pInfo->m_unWindowsId : k_unLanguageIdEnglishUS;
}
