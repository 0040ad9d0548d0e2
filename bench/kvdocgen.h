#pragma once
// Deterministic KeyValues text documents for the reader and writer benchmarks, in the
// layout the writer produces (tabs, quoted keys and values, LF).

#include <cstddef>
#include <string>

enum EKVDocShape
{
    // Install scripts: a root holding one section per application, each with Registry
    // (registry paths as section names, "string" and "dword" groups), Run Process and
    // Copy Files sections, four to six levels deep, with a "//" comment per application.
    // The scripts of 1,000 applications repeat, so names come from a bounded set.
    k_EKVDocShapeInstallScript,
    // One section of very many short keys (4,096 distinct names such as "k123") holding
    // small numbers (0 to 999).
    k_EKVDocShapeFlat,
    // Few keys: sections of eight descriptions, each a quoted text of 200 to 2,000
    // characters (words, punctuation, a path or two with backslashes).
    k_EKVDocShapeLongStrings,
    // Sections of 1,000 short pairs whose names are all distinct ("up0", "papa1",
    // "nort2", ...), with small numbers or short words as values: a localisation table
    // or an item catalogue, some 50,000 names a megabyte.
    k_EKVDocShapeFlatDistinct,
};

const char* KVDocShapeName(EKVDocShape eShape);

// A document of the shape, cubTarget bytes long or a little more (its sections are
// closed after the target is reached). With bEscapes, backslashes are doubled as the
// writer writes a tree that uses escape sequences, so both read to the same tree. The
// same arguments give the same bytes.
std::string GenerateKVDocument(EKVDocShape eShape, size_t cubTarget, bool bEscapes);
