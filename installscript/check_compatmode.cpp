// "CompatibilityMode" entries: an executable and the compatibility layers to give it.

#include <cstring>
#include <string>
#include <vector>

#include "common/windowsvocabulary.h"
#include "installscript/check_context.h"
#include "installscript/check_keys.h"
#include "installscript/check_sections.h"
#include "installscript/nearestname.h"
#include "tier1/keyvalues.h"

namespace
{

// Spelled so: the evaluator reads this name and no other.
constexpr char k_szExecutableKey[] = "Executeable";

void CheckLayers(KeyValues* pkvCompatMode, CCheckContext& context)
{
    std::vector<const char*> vecLayers(std::begin(k_rgpszAppCompatLayers), std::end(k_rgpszAppCompatLayers));
    std::string strLayers = TextOf(pkvCompatMode);
    for (char* pszToken = strtok(&strLayers[0], " \t"); pszToken; pszToken = strtok(nullptr, " \t"))
    {
        // "~" opens a layer text that Windows writes itself.
        if (!strcmp(pszToken, "~") || BIsAppCompatLayer(pszToken) || !context.BWants(k_ECheckCompatLayer))
            continue;
        context.Report(k_ECheckCompatLayer, pkvCompatMode, "\"%s\" is no compatibility layer%s", pszToken,
                       DidYouMean(pszToken, vecLayers).c_str());
    }
}

} // namespace

void CheckCompatibilityModeEntry(KeyValues* pkvEntry, CCheckContext& context)
{
    if (!FindValue(pkvEntry, k_szExecutableKey))
    {
        KeyValues* pkvNear = nullptr;
        for (KeyValues* pkv = pkvEntry->GetFirstValue(); pkv && !pkvNear; pkv = pkv->GetNextValue())
        {
            if (PchNearestName(pkv->GetName(), {k_szExecutableKey}))
                pkvNear = pkv;
        }
        if (pkvNear)
            context.Report(k_ECheckCompatExecutable, pkvNear,
                           "the evaluator reads \"Executeable\" (spelled so), not \"%s\"; no layer is set",
                           pkvNear->GetName());
        else
            context.Report(k_ECheckCompatExecutable, pkvEntry,
                           "the entry has no \"Executeable\" (spelled so); no layer is set");
    }
    if (KeyValues* pkvCompatMode = FindValue(pkvEntry, "CompatMode"))
        CheckLayers(pkvCompatMode, context);
    else
        context.Report(k_ECheckCompatMode, pkvEntry,
                       "the entry has no \"CompatMode\"; the executable's layer is set to nothing");
}
