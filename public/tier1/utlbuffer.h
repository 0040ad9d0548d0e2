#pragma once
// CUtlBuffer: the growable byte buffer every document is read from and written to, with
// a text mode that reads and writes quoted text through a CUtlCharConversion.

#include <cstdarg>

#include "tier0/basetypes.h"
#include "tier1/utlcharconversion.h"

class CUtlBuffer
{
public:
    enum SeekType_t
    {
        SEEK_HEAD = 0,
        SEEK_CURRENT = 1,
        SEEK_TAIL = 2,
    };

    enum BufferFlags_t
    {
        TEXT_BUFFER = 0x1,
        EXTERNAL_GROWABLE = 0x2, // external memory that may be copied into owned memory to grow
        CONTAINS_CRLF = 0x4,     // recorded for callers; the buffer itself does not translate
        READ_ONLY = 0x8,
        AUTO_TABS_DISABLED = 0x10,
    };

    enum ErrorBits_t
    {
        PUT_OVERFLOW = 0x1, // a write could not grow the buffer
        GET_OVERFLOW = 0x2, // a read ran past the data: end of input
    };

    // Called with the number of bytes a read needs from the get position, or a write at
    // the put position; true when the handler made them available.
    typedef bool (CUtlBuffer::*UtlBufferOverflowFunc_t)(int nSize);

    // growSize 0: grow by half; positive: grow in multiples of it.
    CUtlBuffer(int nGrowSize = 0, int nInitialSize = 0, int nFlags = 0);
    // External memory: fixed unless EXTERNAL_GROWABLE is given; with READ_ONLY the bytes
    // are the data to read (put position at the end).
    CUtlBuffer(const void* pBuffer, int nSize, int nFlags = 0);
    CUtlBuffer(const CUtlBuffer&) = delete;
    CUtlBuffer& operator=(const CUtlBuffer&) = delete;
    ~CUtlBuffer();

    void SetBufferType(bool bIsText, bool bContainsCRLF);
    // Uses caller-owned memory (fixed unless nFlags has EXTERNAL_GROWABLE) holding
    // nInitialPut bytes of data.
    void SetExternalBuffer(void* pMemory, int nSize, int nInitialPut, int nFlags = 0);
    // Makes room for at least nSize bytes (text mode: plus its terminator).
    bool EnsureCapacity(int nSize);
    // Empties the buffer and clears the error state; memory is kept.
    void Clear();
    // Empties the buffer and lets go of its memory; it then owns and grows its own.
    void Purge();

    // Reading. A read past the data sets GET_OVERFLOW and yields nothing (0 for GetChar).
    char GetChar();
    void Get(void* pMem, int nSize);
    // The buffer's plain string read: up to the next NUL, which is consumed (text mode:
    // white space is skipped first and ends the string). nMaxChars 0: no limit.
    void GetString(char* pszDest, int nMaxChars);
    // A string between pConv's delimiters with its escapes translated. nMaxChars 0: no
    // limit (the caller has made room).
    void GetDelimitedString(CUtlCharConversion* pConv, char* pszDest, int nMaxChars = 0);
    char GetDelimitedChar(CUtlCharConversion* pConv);
    // Pointer to nMaxSize bytes at the get position plus nOffset, asking the read handler
    // for more when needed; null when they cannot be had.
    const void* PeekGet(int nMaxSize, int nOffset);
    // Pointer at the get position plus nOffset; null outside the data (its end included).
    const void* PeekGet(int nOffset = 0) const;
    void SeekGet(SeekType_t eType, int nOffset);
    int TellGet() const { return m_Get; }
    int GetBytesRemaining() const { return m_nMaxPut - m_Get; }
    void EatWhiteSpace();
    bool EatCPPComment();

    // Writing. A write that cannot get room sets PUT_OVERFLOW and writes nothing.
    void PutChar(char c);
    void Put(const void* pMem, int nSize);
    // Text mode writes the characters; binary mode also writes the terminator.
    void PutString(const char* pszText);
    void Printf(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));
    void VaPrintf(const char* pszFormat, va_list args);
    // Pointer at the put position plus nOffset; null outside the memory.
    void* PeekPut(int nOffset = 0);
    void SeekPut(SeekType_t eType, int nOffset);
    int TellPut() const { return m_Put; }
    int TellMaxPut() const { return m_nMaxPut; }
    void PushTab() { ++m_nTab; }
    void PopTab();
    void EnableTabs(bool bEnable);

    // State.
    bool IsValid() const { return m_Error == 0; }
    unsigned char GetErrorBits() const { return m_Error; }
    void ClearErrorBits(unsigned char bits) { m_Error &= (unsigned char)~bits; }
    unsigned char GetFlags() const { return m_Flags; }
    bool IsText() const { return (m_Flags & TEXT_BUFFER) != 0; }
    bool ContainsCRLF() const { return IsText() && (m_Flags & CONTAINS_CRLF) != 0; }
    bool IsReadOnly() const { return (m_Flags & READ_ONLY) != 0; }
    bool IsExternallyAllocated() const { return m_nGrowSize < 0; }
    bool IsGrowable() const { return m_nGrowSize >= 0 || (m_Flags & EXTERNAL_GROWABLE) != 0; }
    const void* Base() const { return m_pMemory; }
    void* Base() { return m_pMemory; }
    int Size() const { return m_nAllocationCount; }
    // The data as a terminated string (text mode); "" before any memory exists.
    const char* String() const;

    void SetOverflowFuncs(UtlBufferOverflowFunc_t pfnGetOverflow, UtlBufferOverflowFunc_t pfnPutOverflow);

protected:
    // Default handlers: writes grow the memory, reads fail.
    bool PutOverflow(int nSize);
    bool GetOverflow(int nSize);
    bool CheckPut(int nSize);
    bool CheckGet(int nSize);
    // CheckGet at an offset that leaves the error state alone.
    bool CheckPeekGet(int nOffset, int nSize);
    // Raises the end of data to the put position and, in text mode, writes the NUL there.
    void AddNullTermination();
    // Grows owned memory (copying external growable memory first) to hold nNeeded bytes.
    bool GrowMemory(int64 nNeeded);

private:
    bool BHaveGetBytes(int64 nFrom, int64 nSize) const;
    bool PeekStringMatch(int nOffset, const char* pchText, int cchText);

    unsigned char* m_pMemory = nullptr;
    int m_nAllocationCount = 0;
    int m_nGrowSize = 0; // negative: external memory (fixed unless EXTERNAL_GROWABLE)
    int m_Get = 0;
    int m_Put = 0;
    int m_nMaxPut = 0;
    int m_nTab = 0;
    unsigned char m_Error = 0;
    unsigned char m_Flags = 0;
    UtlBufferOverflowFunc_t m_GetOverflowFunc = &CUtlBuffer::GetOverflow;
    UtlBufferOverflowFunc_t m_PutOverflowFunc = &CUtlBuffer::PutOverflow;
};
