#include "common/appcompatlayers.h"

#include "vstdlib/strtools.h"

const char* const k_rgpszAppCompatLayers[15] = {
    "RUNASADMIN",  "WIN95",      "WIN98",         "WIN4SP5",  "WIN2000", "WINXPSP2",
    "WINXPSP3",    "VISTARTM",   "VISTASP1",      "VISTASP2", "WIN7RTM", "WIN8RTMWINSRV03SP1",
    "WINSRV08SP1", "DPIUNAWARE", "GDIDPISCALING",
};

bool BIsAppCompatLayer(const char* pszToken)
{
    for (const char* pszLayer : k_rgpszAppCompatLayers)
    {
        if (V_stricmp(pszToken, pszLayer) == 0)
            return true;
    }
    return false;
}
