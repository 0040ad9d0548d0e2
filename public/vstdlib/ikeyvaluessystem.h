#pragma once
// The process-wide key-name table: every KeyValues name is interned once, ignoring case,
// and nodes keep the 25-bit symbol instead of the text.

#include "tier0/basetypes.h"
#include "vstdlib/keyname.h"

typedef int32 HKeySymbol;
constexpr HKeySymbol INVALID_KEY_SYMBOL = -1;

class IKeyValuesSystem
{
public:
    // Slot 0: remembers the largest node size registered.
    virtual void RegisterSizeofKeyValues(int nSize) = 0;
    // Slot 1: symbol of a name (0 for null or ""); 0 when absent and !bCreate.
    virtual HKeySymbol GetSymbolForString(const char* pszName, bool bCreate = true) = 0;
    // Slot 2: the pooled text of a symbol.
    virtual const char* GetStringForSymbol(HKeySymbol nSymbol) = 0;
    // Slot 3: slot 1 with creation; the handle is opaque and unused.
    virtual HKeySymbol GetSymbolForStringCaseSensitive(const char* pszName, HKeySymbol* pCaseHandle) = 0;
    // Slots 4 and 5: not used by the tree.
    virtual void* AllocKeyValuesMemory(int nSize) = 0;
    virtual void FreeKeyValuesMemory(void* pMem) = 0;
    // Slot 6: registers a conditional name (a leading "$" is skipped) with its value.
    virtual void AddKeyValuesExpressionSymbol(const char* pszName, bool bValue) = 0;
    // Slot 7: value of a conditional name; unknown names give false.
    virtual bool GetKeyValuesExpressionSymbol(const char* pszName) = 0;
    // Slots 8 and 9: not used by the tree.
    virtual void AddKeyValueFile(const char* pszFile) = 0;
    virtual bool LoadedKeyValueFile(const char* pszFile) = 0;
    // Slot 10: prints the last nCount (at most 4,096) names added, oldest first.
    virtual void DumpRecentKeys(uint32 nCount) = 0;

protected:
    ~IKeyValuesSystem() = default;
};

// The one instance, created on first use and never destroyed.
IKeyValuesSystem* KeyValuesSystem();
// For readers, which describe each name once with KeyNameOf: GetSymbolForString with
// creation, in the one instance; and a hint that starts loading the part of its index a
// lookup of the name will read, worth it only where BKeyNamesOutgrowCaches says so.
HKeySymbol InternKeyName(const KeyName_s& name);
void PrefetchKeyName(const KeyName_s& name);
bool BKeyNamesOutgrowCaches();
