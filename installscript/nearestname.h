#pragma once
// "Did you mean ...?": the known name closest to a misspelt one.

#include <string>
#include <vector>

// The candidate nearest to pszName by edit distance (ASCII case ignored), or null when
// none is within a third of the longer name's length (at least 1).
const char* PchNearestName(const char* pszName, const std::vector<const char*>& vecCandidates);
// " (did you mean "NAME"?)" with the nearest candidate, or "" when none is near.
std::string DidYouMean(const char* pszName, const std::vector<const char*>& vecCandidates);
