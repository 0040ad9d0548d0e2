// The benchmark document generator: a fixed-seed random stream picks names, numbers and
// words, so every run and every build sees the same bytes.

#include "kvdocgen.h"

#include <cstdint>
#include <cstdio>

namespace
{
class CDocRandom
{
public:
    uint32_t Next()
    {
        // splitmix64
        uint64_t z = (m_ulState += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return (uint32_t)(z ^ (z >> 31));
    }
    uint32_t Below(uint32_t unLimit) { return Next() % unLimit; }

private:
    uint64_t m_ulState = 0x4B56446F63ull;
};

class CDocWriter
{
public:
    CDocWriter(size_t cubTarget, bool bEscapes) : m_bEscapes(bEscapes)
    {
        m_str.reserve(cubTarget + (cubTarget >> 4) + 4096);
    }

    void Tabs() { m_str.append((size_t)m_nDepth, '\t'); }
    void Open(const std::string& strName)
    {
        Tabs();
        Quoted(strName);
        m_str += "\n";
        Tabs();
        m_str += "{\n";
        ++m_nDepth;
    }
    void Close()
    {
        --m_nDepth;
        Tabs();
        m_str += "}\n";
    }
    void Value(const std::string& strName, const std::string& strValue)
    {
        Tabs();
        Quoted(strName);
        m_str += "\t\t";
        Quoted(strValue);
        m_str += "\n";
    }
    void Comment(const std::string& strText)
    {
        Tabs();
        m_str += "// " + strText + "\n";
    }
    size_t Size() const { return m_str.size(); }
    std::string Take() { return std::move(m_str); }

private:
    void Quoted(const std::string& strText)
    {
        m_str += '"';
        for (char ch : strText)
        {
            if (ch == '\\' && m_bEscapes)
                m_str += '\\';
            m_str += ch;
        }
        m_str += '"';
    }

    std::string m_str;
    int m_nDepth = 0;
    bool m_bEscapes;
};

const char* const k_rgpszWords[] = {
    "install",  "the",      "runtime", "library", "component", "shared", "update",
    "player",   "settings", "folder",  "files",   "version",   "data",   "redistributable",
    "required", "before",   "first",   "launch",  "for",       "and",    "system",
    "graphics", "driver",   "audio",   "network", "service",   "user",   "account",
    "language", "of",
};

std::string Number(uint32_t unValue)
{
    return std::to_string(unValue);
}

void WriteRegistryKey(CDocWriter& doc, CDocRandom& rng, uint32_t unApp, uint32_t unComponent)
{
    std::string strProduct = "Product " + Number(unApp);
    doc.Open("HKEY_LOCAL_MACHINE\\Software\\Example Studio\\" + strProduct + "\\Component " +
             Number(unComponent));
    doc.Open("string");
    doc.Value("InstallPath", "%INSTALLDIR%\\bin\\component" + Number(unComponent));
    doc.Value("Language", "%LANGUAGE%");
    doc.Value("DisplayName", "Example " + strProduct + " - Component " + Number(unComponent));
    doc.Close();
    doc.Open("dword");
    doc.Value("Installed", "1");
    doc.Value("Build", Number(10000 + rng.Below(90000)));
    doc.Close();
    doc.Close();
}

void WriteApplication(CDocWriter& doc, CDocRandom& rng, uint32_t unApp)
{
    doc.Comment("Application " + Number(unApp) + ": registry, redistributables and files");
    doc.Open("App " + Number(unApp));
    doc.Open("Registry");
    for (uint32_t i = 0, c = 2 + rng.Below(4); i < c; ++i)
        WriteRegistryKey(doc, rng, unApp, i);
    doc.Close();
    doc.Open("Run Process");
    doc.Open("VCRedist " + Number(rng.Below(8)));
    doc.Value("HasRunKey", "HKEY_LOCAL_MACHINE\\Software\\Pellan\\Korvex\\Apps\\" + Number(unApp));
    doc.Value("process 1", "%INSTALLDIR%\\Redist\\vcredist\\2015\\vc_redist.x64.exe");
    doc.Value("command 1", "/q /norestart");
    doc.Value("NoCleanUp", "1");
    doc.Close();
    doc.Close();
    doc.Open("Copy Files");
    doc.Open("english");
    doc.Value("Source", "%INSTALLDIR%\\lang\\en\\*.pak");
    doc.Value("Destination", "%INSTALLDIR%\\data\\" + Number(rng.Below(100)));
    doc.Close();
    doc.Close();
    doc.Close();
}

void WriteInstallScripts(CDocWriter& doc, CDocRandom& rng, size_t cubTarget)
{
    doc.Open("InstallScript");
    // Scripts of 1,000 applications, over and over: a process meets a bounded set of
    // names, not a new registry path for every few hundred bytes.
    for (uint32_t i = 0; doc.Size() < cubTarget; ++i)
        WriteApplication(doc, rng, 1000 + 10 * (i % 1000));
    doc.Close();
}

void WriteFlat(CDocWriter& doc, CDocRandom& rng, size_t cubTarget)
{
    doc.Open("Stats");
    while (doc.Size() < cubTarget)
        doc.Value("k" + Number(rng.Below(4096)), Number(rng.Below(1000)));
    doc.Close();
}

std::string Description(CDocRandom& rng)
{
    size_t cchTarget = 200 + rng.Below(1801);
    std::string str;
    while (str.size() < cchTarget)
    {
        if (rng.Below(20) == 0)
            str += "C:\\Games\\Example\\data\\file" + Number(rng.Below(1000)) + ".pak ";
        str += k_rgpszWords[rng.Below((uint32_t)(sizeof(k_rgpszWords) / sizeof(k_rgpszWords[0])))];
        str += rng.Below(12) == 0 ? ", " : (rng.Below(15) == 0 ? ". " : " ");
    }
    str.resize(cchTarget);
    return str;
}

// Pronounceable stems, so names differ in length and in their first bytes as real ones do.
const char* const k_rgpszSyllables[] = {"up",  "pa",  "nort", "ka", "mi",  "lo",
                                        "ver", "dra", "sen",  "tu", "bel", "ox"};

std::string DistinctName(CDocRandom& rng, uint32_t unCounter)
{
    const size_t cSyllables = sizeof(k_rgpszSyllables) / sizeof(k_rgpszSyllables[0]);
    std::string strName = k_rgpszSyllables[rng.Below((uint32_t)cSyllables)];
    if (rng.Below(2))
        strName += k_rgpszSyllables[rng.Below((uint32_t)cSyllables)];
    return strName + Number(unCounter);
}

void WriteFlatDistinct(CDocWriter& doc, CDocRandom& rng, size_t cubTarget)
{
    const size_t cWords = sizeof(k_rgpszWords) / sizeof(k_rgpszWords[0]);
    doc.Open("Catalogue");
    uint32_t unCounter = 0;
    for (uint32_t unSection = 0; doc.Size() < cubTarget; ++unSection)
    {
        doc.Open("group " + Number(unSection));
        for (int i = 0; i < 1000 && doc.Size() < cubTarget; ++i)
        {
            std::string strName = DistinctName(rng, unCounter++);
            doc.Value(strName,
                      rng.Below(4) ? Number(rng.Below(1000)) : k_rgpszWords[rng.Below((uint32_t)cWords)]);
        }
        doc.Close();
    }
    doc.Close();
}

void WriteLongStrings(CDocWriter& doc, CDocRandom& rng, size_t cubTarget)
{
    doc.Open("Descriptions");
    for (uint32_t unSection = 0; doc.Size() < cubTarget; ++unSection)
    {
        doc.Open("lang " + Number(unSection));
        for (int i = 0; i < 8; ++i)
            doc.Value("text " + Number((uint32_t)i), Description(rng));
        doc.Close();
    }
    doc.Close();
}
} // namespace

const char* KVDocShapeName(EKVDocShape eShape)
{
    static const char* const k_rgpszNames[] = {"installscript", "flat", "longstrings", "flatdistinct"};
    return k_rgpszNames[eShape];
}

std::string GenerateKVDocument(EKVDocShape eShape, size_t cubTarget, bool bEscapes)
{
    typedef void (*WriteShape_t)(CDocWriter&, CDocRandom&, size_t);
    static const WriteShape_t k_rgpfnShapes[] = {WriteInstallScripts, WriteFlat, WriteLongStrings,
                                                 WriteFlatDistinct};
    CDocWriter doc(cubTarget, bEscapes);
    CDocRandom rng;
    k_rgpfnShapes[eShape](doc, rng, cubTarget);
    return doc.Take();
}
