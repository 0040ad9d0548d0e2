#pragma once
// The fixed order in which each mode visits the sections of a script. Every walk ANDs
// the handlers' results and never stops at a failure; missing sections are skipped.

class IInstallScriptSectionHandlers;
class KeyValues;

bool BWalkLaunchSections(IInstallScriptSectionHandlers& handlers, KeyValues* pkvScript);
bool BWalkUpdateSections(IInstallScriptSectionHandlers& handlers, KeyValues* pkvScript);
// Ends with the cleanup walk, ANDed in.
bool BWalkUninstallSections(IInstallScriptSectionHandlers& handlers, KeyValues* pkvScript);
bool BWalkCleanupSections(IInstallScriptSectionHandlers& handlers, KeyValues* pkvScript);
