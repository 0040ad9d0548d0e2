#pragma once
// Job files as the platform writes them: one group per application, each with its app
// id, mode, install path and "compat_installscript".

class CCheckContext;
class KeyValues;

// True when a group of the document holds any of the job keys.
bool BIsJobDocument(KeyValues* pkvRoot);
// Every group and the install script it carries.
void CheckJob(KeyValues* pkvRoot, CCheckContext& context);
