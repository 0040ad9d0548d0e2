#pragma once
// The fixed order in which each mode visits the sections of a script. Every walk ANDs
// the handlers' results and never stops at a failure; missing sections are skipped.

class IInstallScriptSectionHandlers;
class KeyValues;
struct ModeWalk_s;

// The mode's sections (installscript_sections), then the cleanup walk, ANDed in, when it
// follows.
bool BWalkSections(IInstallScriptSectionHandlers& handlers, const ModeWalk_s& walk, KeyValues* pkvScript);
