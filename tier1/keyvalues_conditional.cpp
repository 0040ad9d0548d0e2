// Conditionals of the KeyValues text format ("[$WIN32]", "[!$X360&&$WINDOWS]") and the
// platform names they test. The state lives in one evaluator object per call, so two
// threads may read documents with conditionals at once.

#include <cstring>

#include "tier0/commandline.h"
#include "tier0/dbg.h"
#include "tier0/platform.h"
#include "tier1/keyvaluesparser.h"
#include "vstdlib/strtools.h"

namespace
{
constexpr int k_cchNameMax = 127;

bool AlwaysTrue()
{
    return true;
}

bool AlwaysFalse()
{
    return false;
}

struct PlatformName_s
{
    const char* m_pszName;
    bool (*m_pfnValue)();
};

// Names are compared without their "$" and ignoring case.
const PlatformName_s k_rgPlatformNames[] = {
    {"WINDOWS", AlwaysTrue},
    {"WIN32", AlwaysTrue},
    {"WIN64", AlwaysTrue},
    {"VISTA", Plat_IsWindowsVistaOrLater},
    {"WIN7", Plat_IsWindows7OrLater},
    {"OSX", AlwaysFalse},
    {"OSX1010", AlwaysFalse},
    {"POSIX", AlwaysFalse},
    {"LINUX", AlwaysFalse},
    {"LINUX32", AlwaysFalse},
    {"LINUX64", AlwaysFalse},
    {"CHROMEOS", IsChromeOSCommandLine},
    {"ANDROID", AlwaysFalse},
    {"ANDROID32", AlwaysFalse},
    {"ANDROID64", AlwaysFalse},
    {"X360", AlwaysFalse},
    {"PS3", AlwaysFalse},
};

bool IsNameChar(char ch)
{
    return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '_';
}

bool IsDigit(char ch)
{
    return ch >= '0' && ch <= '9';
}

// Recursive descent over one expression. A token can hold a quarter million "(", more
// than the 2 MiB main-thread stack could nest, so groups deeper than 256 are a bad token.
class CConditionalEvaluator
{
public:
    CConditionalEvaluator(const char* pszExpression, KeyValuesConditionalLookup_t pfnLookup)
        : m_pszExpression(pszExpression), m_pfnLookup(pfnLookup)
    {
    }

    bool Evaluate()
    {
        SkipBlanks();
        bool bResult = Expression(0);
        return bResult && !m_bError;
    }
    bool BMalformed() const { return m_bError; }

private:
    static constexpr int k_nMaxGroupDepth = 256;

    char Current() const { return m_pszExpression[m_ich]; }
    void SkipBlanks()
    {
        while (Current() == ' ')
            ++m_ich;
    }
    // Moves past the current character (never past the terminator) and the blanks after it.
    void Advance()
    {
        if (Current())
            ++m_ich;
        SkipBlanks();
    }

    void BadOperand()
    {
        if (!m_bError)
            Warning("Bad expression token: %c at %d in %s\n", Current(), m_ich, m_pszExpression);
        m_bError = true;
    }

    // 1 for "&&", 0 for "||", -1 when no operator follows; a broken one is an error.
    int Operator()
    {
        char ch = Current();
        if (ch != '&' && ch != '|')
            return -1;
        char chNext = m_pszExpression[m_ich + 1];
        if ((chNext & ch) != ch)
        {
            if (!m_bError)
                Warning("Bad expression token: %c %c\n", ch, chNext);
            m_bError = true;
            return -1;
        }
        m_ich += 2;
        SkipBlanks();
        return ch == '&' ? 1 : 0;
    }

    bool Expression(int nDepth)
    {
        bool bResult = Operand(nDepth);
        for (int nOp; !m_bError && (nOp = Operator()) >= 0;)
        {
            bool bNext = Operand(nDepth);
            bResult = nOp ? (bResult && bNext) : (bResult || bNext);
        }
        return bResult;
    }

    // An operand written before "!" is evaluated and then dropped.
    bool Operand(int nDepth)
    {
        bool bResult = false;
        if (Current() != '!')
            bResult = Primary(nDepth);
        if (!m_bError && Current() == '!')
        {
            Advance();
            bResult = !Primary(nDepth);
        }
        return bResult;
    }

    bool Primary(int nDepth)
    {
        if (m_bError)
            return false;
        char ch = Current();
        if (ch == '(' && nDepth < k_nMaxGroupDepth)
        {
            Advance();
            bool bResult = Expression(nDepth + 1);
            Advance(); // the character that stopped the group closes it
            return bResult;
        }
        if (ch == '$')
            return Name();
        if (IsDigit(ch))
        {
            bool bNonZero = false;
            for (; IsDigit(Current()); ++m_ich)
                bNonZero |= Current() != '0';
            SkipBlanks();
            return bNonZero;
        }
        BadOperand();
        return false;
    }

    bool Name()
    {
        char szName[k_cchNameMax + 2];
        int cch = 0;
        szName[cch++] = '$';
        for (++m_ich; IsNameChar(Current()); ++m_ich)
        {
            if (cch <= k_cchNameMax)
                szName[cch++] = Current();
        }
        szName[cch] = '\0';
        SkipBlanks();
        return m_pfnLookup ? m_pfnLookup(szName) : false;
    }

    const char* m_pszExpression;
    KeyValuesConditionalLookup_t m_pfnLookup;
    int m_ich = 0;
    bool m_bError = false;
};

const PlatformName_s* FindPlatformName(const char* pszName)
{
    const char* pszBare = (pszName[0] == '$') ? pszName + 1 : pszName;
    for (const PlatformName_s& name : k_rgPlatformNames)
    {
        if (!V_stricmp(pszBare, name.m_pszName))
            return &name;
    }
    return nullptr;
}
} // namespace

bool KeyValuesPlatformLookup(const char* pszName)
{
    if (!strcmp(pszName, "$0"))
        return false;
    if (!strcmp(pszName, "$1"))
        return true;
    if (const PlatformName_s* pName = FindPlatformName(pszName))
        return pName->m_pfnValue();
    return KeyValuesSystem()->GetKeyValuesExpressionSymbol(pszName);
}

bool BIsKeyValuesPlatformName(const char* pszName)
{
    return !strcmp(pszName, "$0") || !strcmp(pszName, "$1") || FindPlatformName(pszName);
}

bool EvaluateConditional(const char* pszExpression, KeyValuesConditionalLookup_t pfnLookup)
{
    bool bMalformed;
    return EvaluateConditional(pszExpression, pfnLookup, &bMalformed);
}

bool EvaluateConditional(const char* pszExpression, KeyValuesConditionalLookup_t pfnLookup, bool* pbMalformed)
{
    *pbMalformed = false;
    if (!pszExpression)
        return false;
    CConditionalEvaluator evaluator(pszExpression, pfnLookup);
    bool bResult = evaluator.Evaluate();
    *pbMalformed = evaluator.BMalformed();
    return bResult;
}
