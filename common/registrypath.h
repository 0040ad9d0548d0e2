#pragma once
// Registry roots and the textual registry paths of install scripts (HKLM\Software\...),
// without any Windows call: the evaluator's registry layer and the script checker read
// the same table and the same parser.

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

// One root: its hive and view, as Windows names them, its display name for logs and the
// spellings a path may begin with.
struct RegKeyRootInfo_s
{
    ERegKeyRoot m_eRoot;
    uint32 m_unPredefinedKey; // the hive's predefined handle value (HKEY_LOCAL_MACHINE: 0x80000002)
    uint32 m_unViewAccess;    // KEY_WOW64_32KEY (0x200), KEY_WOW64_64KEY (0x100) or 0
    const char* m_pszDisplayName;
    const char* m_rgpszSpellings[2]; // null where the root has no spelling of its own
};

// The row that carries out eRoot: an unknown hive (0, 7, ...) is the local machine, and
// the 32-bit view wins when both view bits are set.
const RegKeyRootInfo_s& GetRegKeyRootInfo(ERegKeyRoot eRoot);

// The root's display name for logs; "Unknown" (and an assertion) for unlisted values.
const char* PchNameFromERegKeyRoot(ERegKeyRoot eRoot);

// True when svKey is the product key or below it (ASCII case ignored).
bool BIsProductRegKey(StringView svKey);

// Splits ROOT\key\path (and, when pchValueName is given with a non-zero size, a final
// \ValueName) into its parts. The path is cut to 254 characters first.
bool BParseRegistryPath(StringView svRegPath, ERegKeyRoot* peRoot, char* pchKey, unsigned int cchKey,
                        char* pchValueName, unsigned int cchValueName);
// The install-script form: like BParseRegistryPath, then a root without a view flag goes
// to the 32-bit view, except HKLM keys under the product key.
bool BParseInstallScriptRegKey(StringView svPath, ERegKeyRoot* peRoot, CUtlString* pstrKey,
                               CUtlString* pstrValueName);
