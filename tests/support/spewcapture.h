#pragma once
// A recording output handler for tests: installed for the lifetime of a CSpewCapture,
// which puts the previous handler back when it goes.

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tier0/dbg.h"

struct SpewRecord_s
{
    SpewType_t m_eType;
    std::string m_strText;
};

class CSpewCapture
{
public:
    CSpewCapture();
    ~CSpewCapture();
    CSpewCapture(const CSpewCapture&) = delete;
    CSpewCapture& operator=(const CSpewCapture&) = delete;

    const std::vector<SpewRecord_s>& Records() const { return m_vecRecords; }
    std::vector<std::string> TextsOfType(SpewType_t eType) const;
    int CountAsserts() const { return (int)TextsOfType(SPEW_ASSERT).size(); }
    // Assertion reports whose message is exactly "Assertion Failed: " + pszExpression.
    int CountFailedAssertions(const char* pszExpression) const;
    int CountAssertsContaining(const char* pszText) const;

    // What the handler answers; SPEW_CONTINUE unless set.
    void SetResult(SpewRetval_t eResult) { m_eResult = eResult; }
    // Runs inside the handler, after the record is taken (to spew again from there, say).
    void SetHook(std::function<void(const SpewRecord_s&)> fnHook) { m_fnHook = std::move(fnHook); }

private:
    static SpewRetval_t Handler(SpewType_t eType, const char* pszText);

    static CSpewCapture* s_pActive;
    SpewOutputFunc_t m_pfnPrevious;
    CSpewCapture* m_pPreviousCapture;
    std::vector<SpewRecord_s> m_vecRecords;
    SpewRetval_t m_eResult = SPEW_CONTINUE;
    std::function<void(const SpewRecord_s&)> m_fnHook;
};

// Keeps the stderr copy of long assert texts out of the test log.
class CQuietStderr
{
public:
    CQuietStderr() { testing::internal::CaptureStderr(); }
    ~CQuietStderr() { testing::internal::GetCapturedStderr(); }
    CQuietStderr(const CQuietStderr&) = delete;
    CQuietStderr& operator=(const CQuietStderr&) = delete;
};
