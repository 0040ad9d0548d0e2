#pragma once
// Quoted text with escapes, 64 bytes a step, on processors that compress bytes in 512-bit
// registers: each block's escapes are found, translated and squeezed out without a branch
// per escape. A path in a text has an escape every few characters; a branch per escape
// costs more than the rest of the read.

#include "tier0/basetypes.h"

class CWideEscapeDecoder
{
public:
    // rgchEscapes: for each byte after the escape character, the byte the pair stands for,
    // 0 where the pair is unknown.
    CWideEscapeDecoder(char chEscape, const char* rgchEscapes);

    // Whether this processor and its system run the 512-bit path.
    static bool BAvailable();

    // Decodes from pch into pchOut + *pcchOut while 64 bytes of input and of room (up to
    // cchOutMax) are left, and stops short of a closing quote, a NUL or an unknown
    // escape, all left to the caller, as is the rest. Bytes stored past the decoded end
    // lie within the room and are overwritten or past the token's end. Returns where the
    // input stopped, never inside an escape.
    const char* Decode(const char* pch, const char* pchEnd, char* pchOut, int* pcchOut, int cchOutMax) const;
    // Decodes all of [pch, pchEnd), which holds no NUL and no quote that is not escaped and
    // does not end inside an escape, into pchOut, and writes nothing past the decoded text
    // (never more than pchEnd - pch bytes). Returns the text's length: an unknown escape
    // ends it (*pbCut), as the NUL it stands for would.
    int DecodeWhole(const char* pch, const char* pchEnd, char* pchOut, bool* pbCut) const;
    // The first quote or NUL in [pch, pchEnd), else pchEnd.
    const char* FindQuoteOrNul(const char* pch, const char* pchEnd) const;

private:
    alignas(64) char m_rgchTranslated[128]; // the pair's byte by the second byte, 0 unknown
    char m_chEscape;
};
