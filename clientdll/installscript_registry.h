#pragma once
// The registry section of the running script: the typed values of one key written on
// install and launch, and removed again on uninstall. Failures go to the log with the
// script's app id; a value that cannot be written never fails the run.

#include "common/registry.h"

class KeyValues;

class CInstallScriptRegistry
{
public:
    // pszLanguage is the run's language; it must outlive the object.
    CInstallScriptRegistry(uint32 unAppID, const char* pszLanguage, bool bUTF8RegistryStrings);

    // Writes the "string", "dword", "binary" and "string_from_regkey" groups of one key in
    // file order. Always true.
    bool ApplyRegistrySection(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pRegistryKey,
                              bool bOverwrite);

    // The typed writers, one per group, over the container's own leaves. Without
    // bOverwrite a value already present is kept. False when a leaf failed.
    bool WriteRegistryStrings(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pStringKey, bool bOverwrite);
    bool WriteRegistryDwords(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pDwordKey, bool bOverwrite);
    bool WriteRegistryBinaries(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pBinaryKey,
                               bool bOverwrite);
    // Copies string values named by ROOT\key\path\ValueName; missing sources are skipped.
    bool CopyRegistryStrings(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pCopyKey);

    // Deletes every value the key's groups name (language subkeys first), then empties the
    // key when nothing else is left in it. False when anything could not be removed.
    bool RemoveRegistryKeyValues(ERegKeyRoot eRoot, const char* pchPath, KeyValues* pRegistryKey);

private:
    bool BIsRunLanguage(const KeyValues* pkvSubKey) const;
    bool BDeleteLeafValues(ERegKeyRoot eRoot, StringView svPath, KeyValues* pkvLeaves);

    uint32 m_unAppID;
    const char* m_pszLanguage;
    bool m_bUTF8RegistryStrings;
};
