#pragma once
// What the file-section handlers share: the test for script paths, the pairing of keys by
// name ("SrcFile1" with "DstFile1") and the judgement of an entry from its items.

#include "tier0/basetypes.h"
#include "tier1/utlstring.h"

class KeyValues;

// Longest key name the key-name table accepts, terminator included: a partner or record
// name that does not fit could never name a key.
constexpr size_t k_cchMaxScriptKeyName = 1024;

// The file layer reads "" as the current directory; a script path that expands to nothing
// names no file at all.
bool BScriptPathExists(const CUtlString& strPath);

// The rest of pszName after the first occurrence of pszNeedle (case ignored); null when
// the name does not contain it.
const char* PchSuffixAfter(const char* pszName, const char* pszNeedle);
// pszPrefix followed by pszSuffix; false when it is too long for a key name.
bool BBuildKeyName(const char* pszPrefix, const char* pszSuffix, char (&szName)[k_cchMaxScriptKeyName]);
// The entry's key of exactly that name (case ignored): a name with a slash is not read as
// a path below the entry. Null when there is none.
KeyValues* FindKeyByName(KeyValues* pkvEntry, const char* pszName);
// The entry's key named pszPrefix + pszSuffix; null when there is none.
KeyValues* FindPartnerKey(KeyValues* pkvEntry, const char* pszPrefix, const char* pszSuffix);

// An entry succeeds when all its items did, or when its "IgnoreExitCode" says failures
// do not count.
bool BEntrySucceeded(KeyValues* pkvEntry, bool bAllItemsSucceeded);
