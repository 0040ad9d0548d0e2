#include "common/registry.h"

#include <windows.h>

#include "common/korvexservice.h"
#include "common/windowshelper.h"
#include "tier0/dbg.h"
#include "vstdlib/strtools.h"

namespace
{

constexpr ERegKeyRoot k_eRootLocalMachine32 =
    ERegKeyRoot(k_ERegKeyRootLocalMachine | k_ERegKeyRootForce32Bit);

constexpr REGSAM k_samDeleteTree = DELETE | KEY_QUERY_VALUE | KEY_SET_VALUE | KEY_ENUMERATE_SUB_KEYS;

uint32 HiveOf(ERegKeyRoot eRoot)
{
    return eRoot & ~k_unRegKeyRootViewMask;
}

HKEY HKeyFromRoot(ERegKeyRoot eRoot)
{
    // The predefined handles are sign-extended 32-bit values.
    return reinterpret_cast<HKEY>((ULONG_PTR)(LONG)GetRegKeyRootInfo(eRoot).m_unPredefinedKey);
}

REGSAM ViewFlagFromRoot(ERegKeyRoot eRoot)
{
    return GetRegKeyRootInfo(eRoot).m_unViewAccess;
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
