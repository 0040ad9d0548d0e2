#pragma once
// A memory-validation walk: objects report each block they own under a name, nested
// with Push and Pop, so a checker can match what is claimed against what is allocated.
// Kept on purpose for the manager's Validate slot: nothing in this program runs a walk,
// the platform's memory validator does.

class IValidator
{
public:
    virtual void Push(const char* pszType, const void* pvObject, const char* pszName) = 0;
    virtual void Pop() = 0;
    virtual void ClaimMemory(const void* pvMemory) = 0;

protected:
    ~IValidator() = default;
};
