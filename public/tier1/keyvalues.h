#pragma once
// KeyValues: a tree of named nodes. A node is either a section (children, TYPE_NONE) or
// holds one typed value. Names are symbols of the process-wide key-name table and are
// matched ignoring case. Nodes are 32 bytes on 64-bit targets.

#include "tier0/basetypes.h"
#include "vstdlib/ikeyvaluessystem.h"

class CUtlBuffer;
class CKeyValuesParser;

// Outcome of GetInt and GetBool.
enum EKVGetStatus
{
    k_EKVGetStatusOK = 0,           // converted cleanly
    k_EKVGetStatusNoValue = 1,      // null node or a section
    k_EKVGetStatusTrailingText = 2, // text with characters after the number
    k_EKVGetStatusEmptyText = 3,    // empty text
};

// Flags of SaveToBuffer.
enum EKVSaveFlags
{
    k_EKVSaveLowerCaseNames = 1, // key names written in lower case (A-Z only)
    k_EKVSaveUint64Unsigned = 2, // uint64 values written unsigned (signed by default)
};

class KeyValues
{
public:
    enum types_t
    {
        TYPE_NONE = 0,
        TYPE_STRING = 1,
        TYPE_INT = 2,
        TYPE_FLOAT = 3,
        TYPE_PTR = 4,
        TYPE_WSTRING = 5,
        TYPE_COLOR = 6,
        TYPE_UINT64 = 7,
        TYPE_RESERVED = 8, // no operation gives it a meaning
        TYPE_BINARY = 9,
        TYPE_INT64 = 10,
    };

    explicit KeyValues(const char* pszName);
    explicit KeyValues(HKeySymbol nSymbol);
    KeyValues(const KeyValues&) = delete;
    KeyValues& operator=(const KeyValues&) = delete;
    // Frees the value, every child and every peer that follows this node. Detach a child
    // (RemoveSubKey) before deleting it on its own.
    ~KeyValues();

    // Nodes come from a small-object pool.
    static void* operator new(size_t nSize);
    static void operator delete(void* pMem);

    // Name.
    const char* GetName() const;
    HKeySymbol GetNameSymbol() const { return (HKeySymbol)m_iKeyName; }
    void SetName(const char* pszName);

    // Structure.
    KeyValues* FindKey(const char* pszPath, bool bCreate = false);
    KeyValues* FindKey(HKeySymbol nSymbol) const;
    void AddSubKey(KeyValues* pChild);
    void RemoveSubKey(KeyValues* pChild);
    KeyValues* GetFirstSubKey() const;
    KeyValues* GetNextKey() const { return m_pPeer; }
    void SetNextKey(KeyValues* pPeer) { m_pPeer = pPeer; }
    KeyValues* GetFirstTrueSubKey() const;
    KeyValues* GetNextTrueSubKey() const;
    KeyValues* GetFirstValue() const;
    KeyValues* GetNextValue() const;
    // A section is empty when it has no children; a value node never is.
    bool IsEmpty() const;
    // Frees the value or every child; the node becomes an empty section.
    void Clear();

    types_t GetDataType() const { return (types_t)m_iDataType; }
    void SetUsesEscapeSequences(bool bUses, bool bRecursive);
    bool UsesEscapeSequences() const { return m_bHasEscapeSequences != 0; }

    // Conversions of this node's value.
    int GetInt(int nDefault = 0, EKVGetStatus* peStatus = nullptr);
    bool GetBool(bool bDefault = false, EKVGetStatus* peStatus = nullptr);
    // Numbers and wide text are converted in place to TYPE_STRING; the result is the
    // node's own text.
    const char* GetString(const char* pszDefault = "");
    float GetFloat(float flDefault = 0.0f);
    uint64 GetUint64(uint64 ulDefault = 0);
    int64 GetInt64(int64 llDefault = 0);
    void* GetPtr(void* pDefault = nullptr);
    const wchar16* GetWString(const wchar16* pwszDefault = u"");
    uint32 GetColor(uint32 unDefault = 0); // bytes R, G, B, A from low to high
    // The bytes and length of a TYPE_BINARY node; null and 0 otherwise.
    const uint8* GetBinary(uint32* pcubData) const;

    // Values of named children (the path rules of FindKey); the default when absent.
    int GetKeyInt(const char* pszKey, int nDefault);
    bool GetKeyBool(const char* pszKey, bool bDefault);
    const char* GetKeyString(const char* pszKey, const char* pszDefault);
    void SetKeyString(const char* pszKey, const char* pszValue);
    void SetKeyInt(const char* pszKey, int nValue);

    // Setters free the old value (and children) and change the type.
    void SetString(const char* pszValue);
    void SetInt(int nValue);
    void SetFloat(float flValue);
    void SetUint64(uint64 ulValue);
    void SetInt64(int64 llValue);
    void SetPtr(void* pValue);
    void SetWString(const wchar16* pwszValue);
    void SetColor(uint32 unRGBA);
    void SetBinary(const uint8* pubData, uint32 cubData);

    // Text form. LoadFromBuffer clears the node and reads a whole document into it and
    // its peers; true when no error was recorded.
    bool LoadFromBuffer(const char* pszResourceName, CUtlBuffer& buf, CKeyValuesParser* pParser = nullptr);
    // Writes this node (and, with bWritePeers, each following peer) as text; true unless
    // the buffer is in an error state afterwards.
    bool SaveToBuffer(CUtlBuffer& buf, bool bWritePeers = false, int nFlags = 0) const;
    // Writes the tree to the debug output ("<empty>\n" when nothing was written).
    void DumpToDebugOutput() const;

private:
    friend class CKeyValuesReader;
    friend class CKeyValuesWriter;

    struct Number_s;

    // A node the reader fills in: its symbol comes straight from the key-name table.
    KeyValues(HKeySymbol nSymbol, bool bHasEscapeSequences)
        : m_iKeyName((uint32)nSymbol), m_iDataType(TYPE_NONE), m_bPooledText(0),
          m_bHasEscapeSequences(bHasEscapeSequences), m_bHeapString(0), m_pPeer(nullptr)
    {
        m_Value.m_section = {nullptr, nullptr};
    }
    void Init();
    void SetNameSymbol(HKeySymbol nSymbol);
    // Frees the value or the children; the node is left an empty section.
    void FreeValue();
    // Destroys a peer chain and every subtree below it, without recursion.
    static void DestroyNodes(KeyValues* pList);
    KeyValues* CreateChild(HKeySymbol nSymbol);
    // Appends after the last child; a value node becomes a section first.
    void AppendChild(KeyValues* pChild);
    void SetInlineOrHeapString(const char* pchText, size_t cchText);
    // Heap text: short blocks from the node pool, long ones from the heap.
    static void* AllocHeapText(size_t cub);
    static void FreeHeapText(void* pText, size_t cub);
    void FreeHeapText();
    // The value's text becomes a block of cub bytes from AllocHeapText (the value must
    // hold nothing to free; its type is the caller's to set).
    void AdoptHeapText(void* pText, size_t cub);
    const char* StringText() const { return m_bHeapString ? m_Value.m_pszHeap : m_Value.m_szInline; }
    const wchar16* WideText() const { return m_bHeapString ? m_Value.m_pwszHeap : m_Value.m_wszInline; }
    // The value as a number for the numeric getters; false (and the status) when there is none.
    bool BReadNumber(Number_s* pNumber, EKVGetStatus* peStatus) const;

    // Value: 16 bytes. Sections keep their first child in m_pSub; strings of up to 15
    // characters live inline.
    union Value_u
    {
        KeyValues* m_pSub;
        struct
        {
            KeyValues* m_pFirst; // m_pSub
            KeyValues* m_pLast;  // the reader's append point while it fills the section
        } m_section;
        char m_szInline[16];
        char* m_pszHeap;
        wchar16 m_wszInline[8];
        wchar16* m_pwszHeap;
        int32 m_nValue;
        float m_flValue;
        void* m_pValue;
        uint64 m_ulValue;
        int64 m_llValue;
        uint8 m_rgubColor[4];
        struct
        {
            uint32 m_cubData;
            uint8* m_pubData;
        } m_binary;
    } m_Value;

    uint32 m_iKeyName : 25;
    uint32 m_iDataType : 4;
    uint32 m_bPooledText : 1; // the heap text lives in the node pool's slabs, not the heap
    uint32 m_bHasEscapeSequences : 1;
    uint32 m_bHeapString : 1;

    KeyValues* m_pPeer;
};

static_assert(sizeof(void*) != 8 || sizeof(KeyValues) == 32,
              "KeyValues nodes are 32 bytes on 64-bit targets");
