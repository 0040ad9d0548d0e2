#pragma once
// The checks of one entry of a section, one family per file, and the checks every entry
// shares. Each expects the entry pushed on the context's key path.

#include "clientdll/installscript_sections.h"

class CCheckContext;
class KeyValues;

void CheckRegistryEntry(KeyValues* pkvEntry, CCheckContext& context);
void CheckRunProcessEntry(KeyValues* pkvEntry, CCheckContext& context);
void CheckFileEntry(ESectionHandler eHandler, KeyValues* pkvEntry, CCheckContext& context);
void CheckCompatibilityModeEntry(KeyValues* pkvEntry, CCheckContext& context);
// Requirement groups and the "HasRunKey" of an entry that keeps a run-once record.
void CheckEntryRecordAndRequirements(KeyValues* pkvEntry, CCheckContext& context);
// Later keys of pkvParent named like an earlier one (case ignored): lookups find the first.
void CheckDuplicateKeys(KeyValues* pkvParent, CCheckContext& context);
// Every %NAME% in the string values below pkvTop, whatever their depth.
void CheckVariables(KeyValues* pkvTop, CCheckContext& context);
