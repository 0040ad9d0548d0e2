#pragma once
// What the reader tells the checker while it loads a document: where each key begins,
// the conditionals it met (also those of branches it dropped) and the errors it
// recorded. Keys are only appended while reading (a 64 MB document makes a million and
// a half); the few a finding is about are looked up afterwards in one pass.

#include <string>
#include <vector>

#include "tier1/keyvaluesparser.h"

struct TextEvent_s
{
    std::string m_strText;
    int m_nOffset;
};

class CKeyLocations final : public IKeyValuesReadObserver
{
public:
    // The offset of each key's first character, in the order asked; -1 for a node the
    // reader did not make.
    std::vector<int> FindOffsets(const std::vector<const KeyValues*>& vecKeys) const;

    const std::vector<TextEvent_s>& Conditionals() const { return m_vecConditionals; }
    const std::vector<TextEvent_s>& Errors() const { return m_vecErrors; }

    void OnKey(const KeyValues* pkv, int nOffset) override { m_vecKeys.push_back({pkv, nOffset}); }
    void OnConditional(const char* pszConditional, int nOffset) override;
    void OnError(const char* pszMessage, int nOffset) override;

private:
    struct KeyPlace_s
    {
        const KeyValues* m_pkv;
        int m_nOffset;
    };

    std::vector<KeyPlace_s> m_vecKeys; // in reading order
    std::vector<TextEvent_s> m_vecConditionals;
    std::vector<TextEvent_s> m_vecErrors;
};
