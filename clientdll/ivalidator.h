#pragma once
// A memory-validation walk: objects report each block they own under a name, nested
// with Push and Pop, so a checker can match what is claimed against what is allocated.

class IValidator
{
public:
    virtual void Push(const char* pszType, const void* pvObject, const char* pszName) = 0;
    virtual void Pop() = 0;
    virtual void ClaimMemory(const void* pvMemory) = 0;

protected:
    ~IValidator() = default;
};
