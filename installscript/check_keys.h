#pragma once
// Small look-ups the entry checks share.

class KeyValues;

// The evaluator's look-up of a value by name (case ignored): the first child of that
// name, null when there is none or it is a section.
KeyValues* FindValue(KeyValues* pkvParent, const char* pszName);
// The value's text, or "" for a section. Integers read as their text.
const char* TextOf(KeyValues* pkv);
