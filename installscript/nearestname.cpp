#include "installscript/nearestname.h"

#include <algorithm>
#include <cstring>

#include "vstdlib/strtools.h"

namespace
{

// Names longer than this are not compared: misspellings of section and key names are short.
constexpr size_t k_cchCompareMax = 64;

size_t EditDistance(const char* pszA, const char* pszB)
{
    const size_t cchA = strlen(pszA), cchB = strlen(pszB);
    std::vector<size_t> vecRow(cchB + 1);
    for (size_t j = 0; j <= cchB; ++j)
        vecRow[j] = j;
    for (size_t i = 1; i <= cchA; ++i)
    {
        size_t nDiagonal = vecRow[0];
        vecRow[0] = i;
        for (size_t j = 1; j <= cchB; ++j)
        {
            const size_t nAbove = vecRow[j];
            const bool bSame = V_tolower_ascii(pszA[i - 1]) == V_tolower_ascii(pszB[j - 1]);
            vecRow[j] = std::min({nAbove + 1, vecRow[j - 1] + 1, nDiagonal + (bSame ? 0 : 1)});
            nDiagonal = nAbove;
        }
    }
    return vecRow[cchB];
}

} // namespace

const char* PchNearestName(const char* pszName, const std::vector<const char*>& vecCandidates)
{
    if (strlen(pszName) > k_cchCompareMax)
        return nullptr;
    const char* pszBest = nullptr;
    size_t nBest = 0;
    for (const char* pszCandidate : vecCandidates)
    {
        const size_t nDistance = EditDistance(pszName, pszCandidate);
        const size_t nLimit = std::max<size_t>(1, std::max(strlen(pszName), strlen(pszCandidate)) / 3);
        if (nDistance <= nLimit && (!pszBest || nDistance < nBest))
        {
            pszBest = pszCandidate;
            nBest = nDistance;
        }
    }
    return pszBest;
}

std::string DidYouMean(const char* pszName, const std::vector<const char*>& vecCandidates)
{
    const char* pszNearest = PchNearestName(pszName, vecCandidates);
    return pszNearest ? std::string(" (did you mean \"") + pszNearest + "\"?)" : std::string();
}
