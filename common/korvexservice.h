#pragma once
// The process's service object. In a client process it could forward machine-wide
// registry writes and firewall requests to the platform's service; the evaluator does
// both itself or not at all, so this object keeps registry work local and offers no
// delegate and no firewall interface. The hooks stay so callers ask the same questions.

#include "common/registry.h"

// Registry work handed to the platform's service, in its slot order.
class IKorvexRegistryDelegate
{
public:
    virtual bool BSetRegistryValueStr(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                                      StringView svValue) = 0;
    virtual bool BSetRegistryValueUint(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                                       unsigned int unValue) = 0;
    // Occupies the service's third slot; the registry layer never calls it.
    virtual bool BUnusedSlot() = 0;
    virtual bool BSetRegistryValueBin(ERegKeyRoot eRoot, StringView svKey, StringView svValueName,
                                      const unsigned char* pubValue, unsigned int cubValue) = 0;
    virtual bool BDeleteRegistryValue(ERegKeyRoot eRoot, StringView svKey, StringView svValueName) = 0;
    virtual bool BDeleteRegistryKey(ERegKeyRoot eRoot, StringView svKey) = 0;

protected:
    ~IKorvexRegistryDelegate() = default;
};

// The platform firewall, in its slot order.
class IKorvexFirewall
{
public:
    virtual bool BAddProgram(const char* pszPath, const char* pszRuleName) = 0;
    // 1 withdraws the program; 2 follows a successful add for a few applications.
    virtual bool BSetProgramMode(const char* pszPath, int nMode) = 0;

protected:
    ~IKorvexFirewall() = default;
};

class CKorvexServiceBaseImpl
{
public:
    // True: registry work is done in this process.
    bool BIsRegistryWorkLocal() const { return true; }
    IKorvexRegistryDelegate* GetRegistryDelegate() const { return nullptr; }
    IKorvexFirewall* GetFirewall() const { return nullptr; }
};

extern CKorvexServiceBaseImpl g_KorvexService;
