#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ZELPlatform/BaseContent.h"

namespace PersonCredential {

/// A person.
class IPerson {
public:
    virtual ~IPerson() {}
    virtual int GetPersonID() = 0;
};

/// A change of a person.
class IPersonChange {
public:
    virtual ~IPersonChange() {}
    virtual int GetChangeType() = 0;
    /// @return the person; may be empty
    virtual std::shared_ptr<IPerson> GetPerson() = 0;
};

/// Parameter of the topic "PersonCredential_PersonModuleMgr".
class IPersonModuleObserver : public ZELPlatform::CBaseContent {
public:
    /// @return the change; may be empty
    virtual std::shared_ptr<IPersonChange> GetChange() = 0;
};

/// One kind of additional information on persons. The order of the operations is part of the contract.
class IPersonAdditionalTypeInfo {
public:
    virtual ~IPersonAdditionalTypeInfo() {}
    virtual int GetID() = 0;
    virtual std::string GetGuid() = 0;
    virtual int GetType() = 0;
    virtual std::string GetName() = 0;
    virtual std::string GetValue() = 0;
};

/// A change of one kind of additional information.
class IPersonAdditionalTypeInfoChange {
public:
    virtual ~IPersonAdditionalTypeInfoChange() {}
    virtual int GetChangeType() = 0;
    /// @return the value after the change; empty when it was removed
    virtual std::shared_ptr<IPersonAdditionalTypeInfo> GetNewValue() = 0;
    /// @return the value before the change; empty when it is new
    virtual std::shared_ptr<IPersonAdditionalTypeInfo> GetOldValue() = 0;
};

/// Parameter of the topic "PersonCredential_PersonAdditionalInfoMgr".
class IPersonAdditionalTypeInfoObserver : public ZELPlatform::CBaseContent {
public:
    /// Appends the changes, none of them empty.
    virtual void GetChanges(std::vector<std::shared_ptr<IPersonAdditionalTypeInfoChange>>& changes) = 0;
};

}  // namespace PersonCredential
