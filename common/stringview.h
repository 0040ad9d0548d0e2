#pragma once
// A non-owning view of terminated narrow text: the registry layer's key paths and value
// names. A null pointer stays null (the registry reads it as "the key itself" or "the
// default value"), so callers can tell it from "".

#include <cstring>

#include "tier1/utlstring.h"

class StringView
{
public:
    constexpr StringView() = default;
    StringView(const char* pszText) : m_pchText(pszText), m_cchText(pszText ? strlen(pszText) : 0) {}
    StringView(const CUtlString& str) : m_pchText(str.Get()), m_cchText(str.Length()) {}

    // The terminated text, or null.
    const char* Get() const { return m_pchText; }
    size_t Length() const { return m_cchText; }
    bool IsNull() const { return m_pchText == nullptr; }
    bool IsEmpty() const { return m_cchText == 0; }

private:
    const char* m_pchText = nullptr;
    size_t m_cchText = 0;
};
