#pragma once
// The conditions a script entry may put on the machine before it is carried out:
// "Requirement_CPU", "Requirement_OS" and "Requirement_Language" groups inside the entry.

class KeyValues;

// True when none of the entry's requirement groups fails; groups with other names are
// ignored. pszRunLanguage is the language of the run ("english", ...).
bool BCheckRequirements(KeyValues* pkvEntry, const char* pszRunLanguage);
