// Helpers of the KeyValues text tests.

#include "kvtext_helpers.h"

#include "tier1/utlbuffer.h"

LoadResult_s LoadText(const std::string& strText, bool bEscapes)
{
    CUtlBuffer buf(strText.data(), (int)strText.size(), CUtlBuffer::READ_ONLY | CUtlBuffer::TEXT_BUFFER);
    CKeyValuesParser parser;
    parser.SetReportEnabled(false);
    KV pkv(new KeyValues("root"));
    pkv->SetUsesEscapeSequences(bEscapes, false);
    bool bClean = pkv->LoadFromBuffer("test.vdf", buf, &parser);
    return {std::move(pkv), bClean, parser.GetErrorText()};
}

static std::string DescribeValue(KeyValues* pkv)
{
    switch (pkv->GetDataType())
    {
        case KeyValues::TYPE_STRING:
            return std::string("s'") + pkv->GetString() + "'";
        case KeyValues::TYPE_INT:
            return "i" + std::to_string(pkv->GetInt());
        default:
            return "t" + std::to_string((int)pkv->GetDataType());
    }
}

static std::string DescribeNode(const KeyValues* pkv)
{
    std::string str = pkv->GetName();
    if (pkv->GetDataType() != KeyValues::TYPE_NONE)
        return str + "=" + DescribeValue(const_cast<KeyValues*>(pkv));
    str += "{";
    for (const KeyValues* pkvChild = pkv->GetFirstSubKey(); pkvChild; pkvChild = pkvChild->GetNextKey())
        str += DescribeNode(pkvChild) + (pkvChild->GetNextKey() ? "," : "");
    return str + "}";
}

std::string DescribeTree(const KeyValues* pkv)
{
    std::string str;
    for (; pkv; pkv = pkv->GetNextKey())
        str += DescribeNode(pkv) + (pkv->GetNextKey() ? " | " : "");
    return str;
}

std::string SaveText(const KeyValues* pkv, int nFlags)
{
    CUtlBuffer buf(0, 0, CUtlBuffer::TEXT_BUFFER);
    pkv->SaveToBuffer(buf, true, nFlags);
    return std::string((const char*)buf.Base(), (size_t)buf.TellPut());
}
