#pragma once
// The compatibility-layer tokens a "CompatMode" text is made of.

// The twelfth runs two names together; kept as it is.
extern const char* const k_rgpszAppCompatLayers[15];

// True when pszToken is one of the tokens (ASCII case ignored).
bool BIsAppCompatLayer(const char* pszToken);
