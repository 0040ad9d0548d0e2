#pragma once
// The registry access layer: every registry read and write of the evaluator goes through
// these functions. Key paths and value names are local-code-page text; string data is
// UTF-8. Keys under the product key of the local-machine hive are kept in step between
// the 32-bit and the 64-bit view.

#include "common/stringview.h"
#include "tier0/basetypes.h"
#include "tier1/utlstring.h"

// Low four bits: the hive. Bits 4 and 5: the registry view (32-bit wins when both).
enum ERegKeyRoot : uint32
{
    k_ERegKeyRootLocalMachine = 1,
    k_ERegKeyRootCurrentUser = 2,
    k_ERegKeyRootClassesRoot = 3,
    k_ERegKeyRootForce32Bit = 16,
    k_ERegKeyRootForce64Bit = 32,
};

constexpr uint32 k_unRegKeyRootViewMask = k_ERegKeyRootForce32Bit | k_ERegKeyRootForce64Bit;

// The product's own key; keys below it in HKLM exist in both views.
constexpr const char k_szProductRegKey[] = "Software\\Pellan\\Korvex";

// The root's display name for logs; "Unknown" (and an assertion) for unlisted values.
const char* PchNameFromERegKeyRoot(ERegKeyRoot eRoot);

// True when svKey is the product key or below it (ASCII case ignored).
bool BIsProductRegKey(StringView svKey);

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

// Splits ROOT\key\path (and, when pchValueName is given with a non-zero size, a final
// \ValueName) into its parts. The path is cut to 254 characters first.
bool BParseRegistryPath(StringView svRegPath, ERegKeyRoot* peRoot, char* pchKey, unsigned int cchKey,
                        char* pchValueName, unsigned int cchValueName);
// The install-script form: like BParseRegistryPath, then a root without a view flag goes
// to the 32-bit view, except HKLM keys under the product key.
bool BParseInstallScriptRegKey(StringView svPath, ERegKeyRoot* peRoot, CUtlString* pstrKey,
                               CUtlString* pstrValueName);
