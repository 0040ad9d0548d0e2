#pragma once
// The program's languages: the lower-case English names a job's "language" key uses and
// the Windows language identifiers version resources are tagged with.

#include "tier0/basetypes.h"

enum ELanguage
{
    k_ELanguageUnknown = -1,
    k_ELanguageEnglish = 0,
    k_ELanguageGerman,
    k_ELanguageFrench,
    k_ELanguageItalian,
    k_ELanguageSpanish,
    k_ELanguageRussian,
    k_ELanguageUkrainian,
    k_ELanguageJapanese,
    k_ELanguageKorean,
    k_ELanguageSimplifiedChinese,
    k_ELanguageTraditionalChinese,
    k_ELanguagePolish,
    k_ELanguagePortuguese,
    k_ELanguageBrazilian,
    k_ELanguageDutch,
    k_ELanguageDanish,
    k_ELanguageFinnish,
    k_ELanguageNorwegian,
    k_ELanguageSwedish,
    k_ELanguageCzech,
    k_ELanguageHungarian,
    k_ELanguageRomanian,
    k_ELanguageBulgarian,
    k_ELanguageGreek,
    k_ELanguageTurkish,
    k_ELanguageThai,
    k_ELanguageVietnamese,
    k_ELanguageArabic,
    k_ELanguageCount,
};

// Windows' identifier for English (United States): the fallback of every look-up.
constexpr uint16 k_unLanguageIdEnglishUS = 1033;

// k_ELanguageUnknown for a null or unlisted name; ASCII case is ignored.
ELanguage GetLanguageFromName(const char* pszName);
// The language's name, or "" for values outside the table.
const char* GetLanguageName(ELanguage eLanguage);
// 1033 for values outside the table.
uint16 GetLanguageWindowsId(ELanguage eLanguage);
