#include "common/registry.h"

#include <windows.h>

#include "common/korvexservice.h"
#include "common/windowshelper.h"
#include "tier0/dbg.h"
#include "vstdlib/strtools.h"

namespace
{

struct RegKeyRootName_s
{
    uint32 m_unRoot;
    const char* m_pszName;
};

const RegKeyRootName_s k_rgRegKeyRootNames[] = {
    {1, "HKEY_LOCAL_MACHINE"},
    {2, "HKEY_CURRENT_USER"},
    {3, "HKEY_CLASSES_ROOT"},
    {17, "HKEY_LOCAL_MACHINE (force 32Bit)"},
    {33, "HKEY_LOCAL_MACHINE (force 64Bit)"},
    {18, "HKEY_CURRENT_USER (force 32Bit)"},
    {34, "HKEY_CURRENT_USER (force 64Bit)"},
    {19, "HKEY_CLASSES_ROOT (force 32Bit)"},
    {35, "HKEY_CLASSES_ROOT (force 64Bit)"},
};

// Spellings of a registry path's root, tried in this order.
const RegKeyRootName_s k_rgRegPathRoots[] = {
    {1, "HKEY_LOCAL_MACHINE"},
    {1, "HKLM"},
    {2, "HKEY_CURRENT_USER"},
    {2, "HKCU"},
    {3, "HKEY_CLASSES_ROOT"},
    {3, "HKCR"},
    {17, "HKEY_LOCAL_MACHINE_WOW64_32"},
    {17, "HKLM32"},
    {33, "HKEY_LOCAL_MACHINE_WOW64_64"},
    {33, "HKLM64"},
};

constexpr ERegKeyRoot k_eRootLocalMachine32 =
    ERegKeyRoot(k_ERegKeyRootLocalMachine | k_ERegKeyRootForce32Bit);

constexpr REGSAM k_samDeleteTree = DELETE | KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_ENUMERATE_SUB_KEYS;

uint32 HiveOf(ERegKeyRoot eRoot)
{
    return eRoot & ~k_unRegKeyRootViewMask;
}

// Anything but current user and classes root is the local machine, 0 and junk included.
HKEY HKeyFromRoot(ERegKeyRoot eRoot)
{
    switch (HiveOf(eRoot))
    {
        case k_ERegKeyRootCurrentUser:
            return HKEY_CURRENT_USER;
        case k_ERegKeyRootClassesRoot:
            return HKEY_CLASSES_ROOT;
        default:
            return HKEY_LOCAL_MACHINE;
    }
}

REGSAM ViewFlagFromRoot(ERegKeyRoot eRoot)
{
    if (eRoot & k_ERegKeyRootForce32Bit)
        return KEY_WOW64_32KEY;
    if (eRoot & k_ERegKeyRootForce64Bit)
        return KEY_WOW64_64KEY;
    return 0;
}

// A key handle in the root's hive and view, closed when it goes.
class CRegKey
{
public:
    CRegKey() = default;
    CRegKey(const CRegKey&) = delete;
    CRegKey& operator=(const CRegKey&) = delete;
    ~CRegKey()
    {
        if (m_hKey)
            RegCloseKey(m_hKey);
    }

    bool BOpen(ERegKeyRoot eRoot, StringView svKey, REGSAM samDesired)
    {
        return RegOpenKeyExA(HKeyFromRoot(eRoot), svKey.Get(), 0, samDesired | ViewFlagFromRoot(eRoot),
                             &m_hKey) == ERROR_SUCCESS;
    }
    bool BCreate(ERegKeyRoot eRoot, StringView svKey, REGSAM samDesired)
    {
        return RegCreateKeyExA(HKeyFromRoot(eRoot), svKey.Get(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                               samDesired | ViewFlagFromRoot(eRoot), nullptr, &m_hKey,
                               nullptr) == ERROR_SUCCESS;
    }
    HKEY Get() const { return m_hKey; }

private:
    HKEY m_hKey = nullptr;
};

// Borrows a callable that takes only the root, so the view rules of writes can run one
// piece of work once or twice.
class CRegistryWork
{
public:
    template <typename TFunction>
    CRegistryWork(const TFunction& fnWork) : m_pvWork(&fnWork), m_pfnInvoke(&Invoke<TFunction>)
    {
    }
    bool operator()(ERegKeyRoot eRoot) const { return m_pfnInvoke(m_pvWork, eRoot); }

private:
    template <typename TFunction>
    static bool Invoke(const void* pvWork, ERegKeyRoot eRoot)
    {
        return (*static_cast<const TFunction*>(pvWork))(eRoot);
    }

    const void* m_pvWork;
    bool (*m_pfnInvoke)(const void*, ERegKeyRoot);
};

bool BIsDualViewKey(ERegKeyRoot eRoot, StringView svKey)
{
    return eRoot == k_ERegKeyRootLocalMachine && BIsProductRegKey(svKey);
}

// Runs fnRead on the key opened with samAccess; the product's machine-wide keys are
// read from the 32-bit view first.
template <typename TRead>
bool BReadRegistryKey(ERegKeyRoot eRoot, StringView svKey, REGSAM samAccess, const TRead& fnRead)
{
    auto BReadIn = [&](ERegKeyRoot eRunRoot)
    {
        CRegKey key;
        return key.BOpen(eRunRoot, svKey, samAccess) && fnRead(key.Get());
    };
    if (BIsDualViewKey(eRoot, svKey) && BReadIn(k_eRootLocalMachine32))
        return true;
    return BReadIn(eRoot);
}

// The product's machine-wide keys are written to both views; the 32-bit copy decides.
bool BRunRegistryWrite(ERegKeyRoot eRoot, StringView svKey, CRegistryWork work)
{
    bool bResult = work(eRoot);
    if (BIsDualViewKey(eRoot, svKey))
        bResult = work(k_eRootLocalMachine32);
    return bResult;
}

// The delegate that takes machine-wide writes when the service object does them
// elsewhere; null when the work is done here.
IKorvexRegistryDelegate* RemoteRegistryDelegate(ERegKeyRoot eRoot, StringView svKey)
{
    const uint32 unHive = HiveOf(eRoot);
    if (unHive == k_ERegKeyRootCurrentUser ||
        (unHive == k_ERegKeyRootLocalMachine && BIsProductRegKey(svKey)))
        return nullptr;
    if (g_KorvexService.BIsRegistryWorkLocal())
        return nullptr;
    return g_KorvexService.GetRegistryDelegate();
}

} // namespace

const char* PchNameFromERegKeyRoot(ERegKeyRoot eRoot)
{
    for (const RegKeyRootName_s& row : k_rgRegKeyRootNames)
    {
        if (row.m_unRoot == eRoot)
            return row.m_pszName;
    }
    AssertFmt(
        false,
        "Missing String for %s (%d). If this comes from user data or could be valid, provide a default to "
        "avoid asserting.",
        "ERegKeyRoot", (int)eRoot);
    return "Unknown";
}

bool BIsProductRegKey(StringView svKey)
{
    const size_t cchProduct = V_ARRAYSIZE(k_szProductRegKey) - 1;
    if (svKey.Length() < cchProduct || V_strnicmp(svKey.Get(), k_szProductRegKey, cchProduct) != 0)
        return false;
    const char chNext = svKey.Get()[cchProduct];
    return chNext == '\\' || chNext == '\0';
}

bool BGetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName, char* pchValue,
                          unsigned int cubValue)
{
    return BReadRegistryKey(
        eRoot, svKey, KEY_READ,
        [&](HKEY hKey)
        { return RegQueryValueUTF8(hKey, svValueName.Get(), pchValue, cubValue) == ERROR_SUCCESS; });
}

bool BGetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName, CUtlString* pstrValue)
{
    Assert(pstrValue);
    if (!pstrValue)
        return false;
    return BReadRegistryKey(
        eRoot, svKey, KEY_READ,
        [&](HKEY hKey)
        { return RegQueryValueUTF8String(hKey, svValueName.Get(), pstrValue) == ERROR_SUCCESS; });
}

bool BGetRegistryValueUint(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                           unsigned int* punValue)
{
    return BReadRegistryKey(eRoot, svKey, KEY_READ,
                            [&](HKEY hKey)
                            {
                                DWORD dwType = REG_NONE;
                                DWORD dwValue = 0;
                                DWORD cbValue = sizeof(dwValue);
                                if (RegQueryValueExA(hKey, svValueName.Get(), nullptr, &dwType,
                                                     reinterpret_cast<BYTE*>(&dwValue),
                                                     &cbValue) != ERROR_SUCCESS ||
                                    dwType != REG_DWORD)
                                    return false;
                                *punValue = dwValue;
                                return true;
                            });
}

bool BGetRegistryValueBin(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                          unsigned char* pubValue, unsigned int* pcubValue)
{
    return BReadRegistryKey(eRoot, svKey, KEY_READ,
                            [&](HKEY hKey)
                            {
                                DWORD dwType = REG_NONE;
                                DWORD cbValue = *pcubValue;
                                const LSTATUS status = RegQueryValueExA(hKey, svValueName.Get(), nullptr,
                                                                        &dwType, pubValue, &cbValue);
                                // The size is reported for a value that did not fit, too: callers probe with
                                // 0.
                                if (status == ERROR_SUCCESS || status == ERROR_MORE_DATA)
                                    *pcubValue = cbValue;
                                return status == ERROR_SUCCESS && dwType == REG_BINARY;
                            });
}

bool BSetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName, StringView svValue)
{
    if (IKorvexRegistryDelegate* pDelegate = RemoteRegistryDelegate(eRoot, svKey))
        return pDelegate->BSetRegistryValueStr(eRoot, svKey, svValueName, svValue);
    return BRunRegistryWrite(eRoot, svKey,
                             [&](ERegKeyRoot eRunRoot)
                             {
                                 CRegKey key;
                                 return key.BCreate(eRunRoot, svKey, KEY_WRITE) &&
                                        RegSetValueUTF8(key.Get(), svValueName.Get(), svValue.Get()) ==
                                            ERROR_SUCCESS;
                             });
}

bool BSetRegistryValueUint(ERegKeyRoot eRoot, StringView svKey, StringView svValueName, unsigned int unValue)
{
    if (IKorvexRegistryDelegate* pDelegate = RemoteRegistryDelegate(eRoot, svKey))
        return pDelegate->BSetRegistryValueUint(eRoot, svKey, svValueName, unValue);
    return BRunRegistryWrite(eRoot, svKey,
                             [&](ERegKeyRoot eRunRoot)
                             {
                                 CRegKey key;
                                 const DWORD dwValue = unValue;
                                 return key.BCreate(eRunRoot, svKey, KEY_WRITE) &&
                                        RegSetValueExA(key.Get(), svValueName.Get(), 0, REG_DWORD,
                                                       reinterpret_cast<const BYTE*>(&dwValue),
                                                       sizeof(dwValue)) == ERROR_SUCCESS;
                             });
}

bool BSetRegistryValueBin(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                          const unsigned char* pubValue, unsigned int cubValue)
{
    if (IKorvexRegistryDelegate* pDelegate = RemoteRegistryDelegate(eRoot, svKey))
        return pDelegate->BSetRegistryValueBin(eRoot, svKey, svValueName, pubValue, cubValue);
    return BRunRegistryWrite(eRoot, svKey,
                             [&](ERegKeyRoot eRunRoot)
                             {
                                 CRegKey key;
                                 return key.BCreate(eRunRoot, svKey, KEY_WRITE) &&
                                        RegSetValueExA(key.Get(), svValueName.Get(), 0, REG_BINARY, pubValue,
                                                       cubValue) == ERROR_SUCCESS;
                             });
}

bool BDeleteRegistryValue(ERegKeyRoot eRoot, StringView svKey, StringView svValueName)
{
    if (IKorvexRegistryDelegate* pDelegate = RemoteRegistryDelegate(eRoot, svKey))
        return pDelegate->BDeleteRegistryValue(eRoot, svKey, svValueName);
    return BRunRegistryWrite(eRoot, svKey,
                             [&](ERegKeyRoot eRunRoot)
                             {
                                 CRegKey key;
                                 return key.BCreate(eRunRoot, svKey, KEY_WRITE) &&
                                        RegDeleteValueA(key.Get(), svValueName.Get()) == ERROR_SUCCESS;
                             });
}

bool BDeleteRegistryKey(ERegKeyRoot eRoot, StringView svKey)
{
    if (IKorvexRegistryDelegate* pDelegate = RemoteRegistryDelegate(eRoot, svKey))
        return pDelegate->BDeleteRegistryKey(eRoot, svKey);
    return BRunRegistryWrite(eRoot, svKey,
                             [&](ERegKeyRoot eRunRoot)
                             {
                                 CRegKey key;
                                 return key.BOpen(eRunRoot, svKey, k_samDeleteTree) &&
                                        RegDeleteTreeA(key.Get(), nullptr) == ERROR_SUCCESS;
                             });
}

bool BEnumerateRegistryKey(ERegKeyRoot eRoot, StringView svKey, unsigned int unIndex, char* pchName,
                           unsigned int cchName)
{
    return BReadRegistryKey(eRoot, svKey, KEY_ENUMERATE_SUB_KEYS,
                            [&](HKEY hKey)
                            {
                                DWORD cchNameInOut = cchName;
                                return RegEnumKeyExA(hKey, unIndex, pchName, &cchNameInOut, nullptr, nullptr,
                                                     nullptr, nullptr) == ERROR_SUCCESS;
                            });
}

bool BEnumerateRegistryValue(ERegKeyRoot eRoot, StringView svKey, unsigned int unIndex, char* pchName,
                             unsigned int cchName, unsigned int* punType)
{
    return BReadRegistryKey(eRoot, svKey, KEY_QUERY_VALUE,
                            [&](HKEY hKey)
                            {
                                DWORD cchNameInOut = cchName;
                                DWORD dwType = REG_NONE;
                                if (RegEnumValueA(hKey, unIndex, pchName, &cchNameInOut, nullptr, &dwType,
                                                  nullptr, nullptr) != ERROR_SUCCESS)
                                    return false;
                                if (punType)
                                    *punType = dwType;
                                return true;
                            });
}

CUtlString GetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName)
{
    CUtlString strValue;
    if (!BGetRegistryValueStr(eRoot, svKey, svValueName, &strValue))
        strValue.Clear();
    return strValue;
}

unsigned int GetRegistryValueUint(ERegKeyRoot eRoot, StringView svKey, StringView svValueName)
{
    unsigned int unValue = 0;
    return BGetRegistryValueUint(eRoot, svKey, svValueName, &unValue) ? unValue : 0;
}

bool BParseRegistryPath(StringView svRegPath, ERegKeyRoot* peRoot, char* pchKey, unsigned int cchKey,
                        char* pchValueName, unsigned int cchValueName)
{
    Assert(!svRegPath.IsNull());
    if (svRegPath.IsNull())
        return false;

    // 254 characters and the terminator; longer paths are cut.
    char szWork[256];
    V_strncpy(szWork, svRegPath.Get(), sizeof(szWork) - 1);
    char* pchFirstSlash = strchr(szWork, '\\');
    if (!pchFirstSlash || !pchFirstSlash[1])
        return false;

    if (pchValueName && cchValueName)
    {
        char* pchLastSlash = strrchr(szWork, '\\');
        V_strncpy(pchValueName, pchLastSlash + 1, cchValueName);
        *pchLastSlash = '\0';
    }
    V_strncpy(pchKey, pchFirstSlash + 1, cchKey);
    *pchFirstSlash = '\0';

    for (const RegKeyRootName_s& row : k_rgRegPathRoots)
    {
        if (V_stricmp(szWork, row.m_pszName) == 0)
        {
            *peRoot = ERegKeyRoot(row.m_unRoot);
            return true;
        }
    }
    return false;
}

bool BParseInstallScriptRegKey(StringView svPath, ERegKeyRoot* peRoot, CUtlString* pstrKey,
                               CUtlString* pstrValueName)
{
    Assert(peRoot);
    Assert(pstrKey);
    if (!peRoot || !pstrKey)
        return false;

    char szKey[255];
    char szValueName[255];
    if (!BParseRegistryPath(svPath, peRoot, szKey, sizeof(szKey), pstrValueName ? szValueName : nullptr,
                            pstrValueName ? sizeof(szValueName) : 0))
        return false;
    pstrKey->SetValue(szKey);
    if (pstrValueName)
        pstrValueName->SetValue(szValueName);

    if ((*peRoot & k_unRegKeyRootViewMask) || BIsDualViewKey(*peRoot, szKey))
        return true;
    // Script keys land in the 32-bit view unless the script names a view.
    *peRoot = ERegKeyRoot(*peRoot | k_ERegKeyRootForce32Bit);
    return true;
}
