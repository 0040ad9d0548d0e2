#pragma once
// The context of one KeyValues text load: the key stack shown in error messages, the
// token buffer and every error recorded. LoadFromBuffer makes its own when none is given;
// pass one to read the error text afterwards or to load quietly.

#include "tier0/basetypes.h"
#include "tier0/dbg.h"
#include "tier1/utlstring.h"
#include "tier1/utlstringbuilder.h"
#include "vstdlib/ikeyvaluessystem.h"

class KeyValues;

// Told where the parts of a document begin, for tools that point into its text (a
// checker's diagnostics). Offsets count bytes from the start of the buffer; a key's is
// its first character (the opening quote of a quoted key). The reader pays one test per
// key when no observer is set.
class IKeyValuesReadObserver
{
public:
    // A key just created, before its value or section is read (it may be dropped later
    // by a false conditional or replaced by a later key).
    virtual void OnKey(const KeyValues* pkv, int nOffset) = 0;
    // A conditional token ("[$WIN32]"), before it is evaluated.
    virtual void OnConditional(const char* pszConditional, int nOffset) = 0;
    // Every error recorded, with the read offset it was recorded at.
    virtual void OnError(const char* pszMessage, int nOffset) = 0;

protected:
    ~IKeyValuesReadObserver() = default;
};

class CKeyValuesParser
{
public:
    static constexpr int k_cubDefaultTokenBuffer = 0x40000; // a token holds 262,143 characters
    static constexpr int k_cKeyStack = 64;
    // Error text kept per load; messages past it are counted but not stored.
    static constexpr size_t k_cchErrorTextMax = 1 << 20;

    explicit CKeyValuesParser(int cubTokenBuffer = k_cubDefaultTokenBuffer);
    ~CKeyValuesParser();
    CKeyValuesParser(const CKeyValuesParser&) = delete;
    CKeyValuesParser& operator=(const CKeyValuesParser&) = delete;

    // Starts a load: the key stack, the report-once state and the error text are reset.
    void BeginLoad(const char* pszResourceName);

    // Prints the first error of a load as a warning (on by default).
    void SetReportEnabled(bool bEnabled) { m_bReportEnabled = bEnabled; }
    // Null (the default) observes nothing.
    void SetObserver(IKeyValuesReadObserver* pObserver) { m_pObserver = pObserver; }
    IKeyValuesReadObserver* GetObserver() const { return m_pObserver; }
    bool BHasErrors() const { return m_cErrors != 0; }
    int GetErrorCount() const { return m_cErrors; }
    // Every message of the last load, concatenated.
    const char* GetErrorText() const { return m_strErrorText.String(); }
    const char* GetResourceName() const { return m_strResourceName.String(); }

    char* TokenBuffer() { return m_pchTokenBuffer; }
    int TokenBufferSize() const { return m_cubTokenBuffer; }

    // Key stack: PushKey returns the level it filled; SetKeyAt renames that level.
    int PushKey(HKeySymbol nSymbol);
    // Inline: the reader renames its level once per key.
    void SetKeyAt(int nLevel, HKeySymbol nSymbol)
    {
        AssertFmt(nLevel >= 0 && nLevel < m_nErrorIndex, "stackLevel >= 0 && stackLevel < m_errorIndex");
        if (nLevel >= 0 && nLevel < k_cKeyStack)
            m_rgnKeyStack[nLevel] = nSymbol;
    }
    void PopKey();
    int GetStackIndex() const { return m_nErrorIndex; }

    // Records pszMessage with the resource name, the read offset and the key stack.
    void ReportError(const char* pszMessage, int nOffset);

private:
    void AppendKeyStack(char* pszMessage, size_t cubMessage) const;

    HKeySymbol m_rgnKeyStack[k_cKeyStack];
    int m_nErrorIndex = 0;
    int m_nMaxErrorIndex = 0;
    CUtlString m_strResourceName;
    IKeyValuesReadObserver* m_pObserver = nullptr;
    char* m_pchTokenBuffer;
    int m_cubTokenBuffer;
    bool m_bReportEnabled = true;
    bool m_bReported = false;
    int m_cErrors = 0;
    CUtlStringBuilder m_strErrorText;
};

// Looks up a conditional name ("$WIN32") for EvaluateConditional.
typedef bool (*KeyValuesConditionalLookup_t)(const char* pszName);

// The platform names of conditionals ("$WINDOWS", "$VISTA", "$CHROMEOS" ...), then the
// names registered with AddKeyValuesExpressionSymbol.
bool KeyValuesPlatformLookup(const char* pszName);

// Evaluates the expression text of a conditional token (the text after its "["): &&
// and || strictly left to right, "!" before an operand, "(" groups, "$NAME" and numbers.
// A malformed expression prints its first complaint and counts as false.
bool EvaluateConditional(const char* pszExpression, KeyValuesConditionalLookup_t pfnLookup);
// The same, telling through *pbMalformed whether the expression broke off at a bad token.
bool EvaluateConditional(const char* pszExpression, KeyValuesConditionalLookup_t pfnLookup,
                         bool* pbMalformed);

// True for the names KeyValuesPlatformLookup knows itself ("$WIN32", "linux", "$0" ...),
// whatever their value on this system.
bool BIsKeyValuesPlatformName(const char* pszName);
