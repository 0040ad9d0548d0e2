#pragma once
// The checks of a document, by what it holds: a job file as the platform writes it (its
// groups and the "compat_installscript" of each) or a bare install script.

class CCheckContext;
class KeyValues;

// Tells the two kinds apart by their content: a document whose groups hold job keys
// ("compat_installscript", "appid", "mode", "install_path") is a job file.
void CheckDocument(KeyValues* pkvRoot, CCheckContext& context);
// One install script: its top-level names, its sections and their entries.
void CheckInstallScript(KeyValues* pkvScript, CCheckContext& context);
// The text's own findings: the reader's errors and the conditionals it met.
void CheckReaderEvents(CCheckContext& context, const class CKeyLocations& locations);
