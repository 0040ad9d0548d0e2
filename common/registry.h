#pragma once
// The registry access layer: every registry read and write of the evaluator goes through
// these functions. Key paths and value names are local-code-page text; string data is
// UTF-8. Keys under the product key of the local-machine hive are kept in step between
// the 32-bit and the 64-bit view.

#include "common/registrypath.h"
#include "tier1/utlstring.h"

// An empty value name addresses the key's default value.
bool BGetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName, char* pchValue,
                          unsigned int cubValue);
bool BGetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName, CUtlString* pstrValue);
bool BGetRegistryValueUint(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                           unsigned int* punValue);
// *pcubValue: capacity in, bytes stored (or needed, when the value is larger) out.
bool BGetRegistryValueBin(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                          unsigned char* pubValue, unsigned int* pcubValue);

bool BSetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName, StringView svValue);
bool BSetRegistryValueUint(ERegKeyRoot eRoot, StringView svKey, StringView svValueName, unsigned int unValue);
bool BSetRegistryValueBin(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                          const unsigned char* pubValue, unsigned int cubValue);
// Creates the key when it is missing (and then fails on the value).
bool BDeleteRegistryValue(ERegKeyRoot eRoot, StringView svKey, StringView svValueName);
// Removes every subkey and value below the key; the key itself stays.
bool BDeleteRegistryKey(ERegKeyRoot eRoot, StringView svKey);

bool BEnumerateRegistryKey(ERegKeyRoot eRoot, StringView svKey, unsigned int unIndex, char* pchName,
                           unsigned int cchName);
bool BEnumerateRegistryValue(ERegKeyRoot eRoot, StringView svKey, unsigned int unIndex, char* pchName,
                             unsigned int cchName, unsigned int* punType);

// Empty / 0 when the read fails.
CUtlString GetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName);
unsigned int GetRegistryValueUint(ERegKeyRoot eRoot, StringView svKey, StringView svValueName);
