#pragma once
// Windows vocabulary kept on purpose: lists the platform's scripts and tools speak, kept
// whole and as first written even where this program reads only part of them (or none).
// The psapi look-ups, kept alike, stay in windowshelper: they must run in every program
// that links it.

#include "tier0/basetypes.h"

// The compatibility-layer tokens a "CompatMode" text is made of; the checker reads them.
// The twelfth runs two names together; kept as it is.
extern const char* const k_rgpszAppCompatLayers[15];

// True when pszToken is one of the tokens (ASCII case ignored).
bool BIsAppCompatLayer(const char* pszToken);

struct Windows10Release_s
{
    uint32 m_unBuild;
    uint32 m_unVersion;
    const char* m_pszName;
};
// Known Windows 10 releases, as they have always been listed here (no 14393; 1511 says
// 2017).
extern const Windows10Release_s k_rgWindows10Releases[9];
