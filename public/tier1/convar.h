#pragma once
// Console variables: named settings registered during static initialisation and looked
// up by name (ASCII case ignored). Nothing on the command line sets them; code and tests
// do, through SetValue.

#include "tier1/utlstring.h"

class CConVar
{
public:
    // Registers the variable; pszName and pszDefault must outlive it (string literals).
    CConVar(const char* pszName, const char* pszDefault);
    CConVar(const CConVar&) = delete;
    CConVar& operator=(const CConVar&) = delete;
    ~CConVar();

    const char* GetName() const { return m_pszName; }
    const char* GetString() const { return m_strValue.Get(); }
    // The leading decimal number of the value, 0 when there is none.
    int GetInt() const;
    void SetValue(const char* pszValue);
    void Revert() { SetValue(m_pszDefault); }

private:
    friend CConVar* FindConVar(const char* pszName);

    const char* m_pszName;
    const char* m_pszDefault;
    CUtlString m_strValue;
    CConVar* m_pNext;
};

// Null when no variable of that name is registered.
CConVar* FindConVar(const char* pszName);
