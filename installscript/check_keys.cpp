#include "installscript/check_keys.h"

#include "tier1/keyvalues.h"

KeyValues* FindValue(KeyValues* pkvParent, const char* pszName)
{
    // The evaluator's own look-up: the first child of that name, which may be a section.
    KeyValues* pkv = pkvParent->FindKey(pszName);
    return pkv && pkv->GetDataType() != KeyValues::TYPE_NONE ? pkv : nullptr;
}

const char* TextOf(KeyValues* pkv)
{
    if (!pkv || pkv->GetDataType() == KeyValues::TYPE_NONE)
        return "";
    // GetString turns an integer into text in place; the checks that care about the
    // type look at it first.
    return pkv->GetString();
}
