#pragma once
// Shared by the KeyValues text tests: loading a document from a string and a compact
// description of a tree for table-driven comparisons.

#include <memory>
#include <string>

#include "tier1/keyvalues.h"
#include "tier1/keyvaluesparser.h"

using KV = std::unique_ptr<KeyValues>;

struct LoadResult_s
{
    KV m_pkv;
    bool m_bClean;
    std::string m_strErrors;
};

// Reads strText into a node named "root" (with the escape flag given); the first error
// is not printed.
LoadResult_s LoadText(const std::string& strText, bool bEscapes = false);

// The tree and its peers as text: name{child=i5,child=s'text',section{...}} with peers
// after " | ". Values: i int, s string, t and the type number for the rest.
std::string DescribeTree(const KeyValues* pkv);

// SaveToBuffer's text (peers included).
std::string SaveText(const KeyValues* pkv, int nFlags = 0);
