#include "common/windowsvocabulary.h"

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

const Windows10Release_s k_rgWindows10Releases[9] = {
    {10240, 1507, "Base"},
    {10586, 1511, "November 2017 Update"},
    {15063, 1703, "2017 Creators Update"},
    {16299, 1709, "2017 Fall Creators Update"},
    {17134, 1803, "April 2018 Update"},
    {17763, 1809, "October 2018 Update"},
    {18362, 1903, "May 2019 Update"},
    {18363, 1909, "November 2019 Update"},
    {19041, 2004, "May 2020 Update"},
};
