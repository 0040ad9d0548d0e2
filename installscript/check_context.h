#pragma once
// The state one document's checks share: where the findings go, which checks are off,
// where each key lies and the path of keys being checked (for the findings' key paths).

#include <cstdarg>
#include <string>
#include <vector>

#include "installscript/check_catalog.h"
#include "installscript/check_locations.h"

class KeyValues;

struct CheckFinding_s
{
    ECheck m_eCheck;
    ECheckSeverity m_eSeverity;
    const KeyValues* m_pkvKey; // the key it is about, null for a place in the text
    int m_nOffset;             // byte offset in the file; -1 when the finding has no place
    int m_nLine;               // from 1; 0 until the places are resolved
    int m_nColumn;             // from 1, in bytes
    std::string m_strKeyPath;
    std::string m_strMessage;
};

class CCheckContext
{
public:
    // Findings of one check kept per document, like a compiler's error limit: a file of
    // 100,000 misspelt sections must not cost more memory than the file itself many times.
    static constexpr int k_cFindingsPerCheckMax = 1000;

    CCheckContext(const CKeyLocations& locations, const std::vector<bool>& vecDisabled,
                  std::vector<CheckFinding_s>* pvecFindings);

    bool BEnabled(ECheck eCheck) const { return !m_vecDisabled[eCheck]; }
    // Enabled and not yet at its limit.
    bool BWants(ECheck eCheck) const
    {
        return BEnabled(eCheck) && m_rgcFindings[eCheck] <= k_cFindingsPerCheckMax;
    }

    // The finding is about pkv, a key inside the innermost key pushed (or that key itself).
    void Report(ECheck eCheck, const KeyValues* pkv, const char* pszFormat, ...)
        __attribute__((format(printf, 4, 5)));
    // A finding at a place in the text rather than at a key.
    void ReportAt(ECheck eCheck, int nOffset, const char* pszFormat, ...)
        __attribute__((format(printf, 4, 5)));

    // The offsets of the keys findings are about (while the document is still loaded).
    void ResolveKeyOffsets();

    void PushKey(const KeyValues* pkv) { m_vecPath.push_back(pkv); }
    void PopKey() { m_vecPath.pop_back(); }

private:
    void Add(ECheck eCheck, const KeyValues* pkv, int nOffset, std::string strKeyPath, const char* pszFormat,
             va_list args);
    std::string KeyPath(const KeyValues* pkv) const;

    const CKeyLocations& m_locations;
    const std::vector<bool>& m_vecDisabled;
    std::vector<CheckFinding_s>* m_pvecFindings;
    std::vector<const KeyValues*> m_vecPath;
    int m_rgcFindings[k_ECheckCount] = {};
};

// Pushes a key for the lifetime of the scope.
class CKeyScope
{
public:
    CKeyScope(CCheckContext& context, const KeyValues* pkv) : m_context(context) { context.PushKey(pkv); }
    ~CKeyScope() { m_context.PopKey(); }
    CKeyScope(const CKeyScope&) = delete;
    CKeyScope& operator=(const CKeyScope&) = delete;

private:
    CCheckContext& m_context;
};
