#pragma once

#include <map>
#include <memory>
#include <string>

#include "ZELPlatform/BaseContent.h"

namespace ZELPlatform {
namespace Resources {

/// One element, the platform's resource on top of a channel. A view of the live object. Threads: any.
class CElementInterface {
public:
    virtual ~CElementInterface() {}

    virtual unsigned int GetID() const = 0;
    virtual std::string GetGuid() const = 0;
    virtual std::string GetName() const = 0;
    virtual unsigned int GetAreaID() const = 0;
    virtual std::string GetAreaName() const = 0;
    /// @return resource type; 1001 is a camera
    virtual int GetType() const = 0;
    /// @return id of the channel behind the element
    virtual unsigned int GetPhysicalID() const = 0;
    virtual unsigned int GetDeviceID() const = 0;
    virtual bool IsOnline() const = 0;
    /// @return seconds since 1970-01-01 00:00:00 UTC
    virtual long long GetCreateTime() const = 0;
    virtual int GetDeviceType() const = 0;
    virtual std::string GetOnlineIdentificationGUID() const = 0;
};

/// Adds the elements of a type that stand on this node.
/// @param result  gets an entry per element, keyed by element id; entries that are there stay
/// @param type    element type; 1001 is a camera
/// Threads: any. Does not block on devices.
void GetCurrentNodeAllElementsByType(std::map<unsigned int, std::shared_ptr<CElementInterface>>& result, int type);

/// Parameter of the topic "LogicResource_Area".
class CAreaObserverParam : public CObserverParam {
public:
    CAreaObserverParam() : n_element_id_(-1), n_element_type_(-1) {}
    int GetValElementID() const { return n_element_id_; }
    int GetValElementType() const { return n_element_type_; }
    void SetValElementID(int id) { n_element_id_ = id; }
    void SetValElementType(int type) { n_element_type_ = type; }

private:
    int n_element_id_;
    int n_element_type_;
};

/// Parameter of the topic "LogicResource_AreaManager".
class CAreaManagerObserverParam : public CObserverParam {
public:
    CAreaManagerObserverParam() : n_element_id_(-1), n_element_type_(-1), n_area_id_(-1) {}
    int GetValElementID() const { return n_element_id_; }
    int GetValElementType() const { return n_element_type_; }
    int GetValAreaID() const { return n_area_id_; }
    void SetValElementID(int id) { n_element_id_ = id; }
    void SetValElementType(int type) { n_element_type_ = type; }
    void SetValAreaID(int id) { n_area_id_ = id; }

private:
    int n_element_id_;
    int n_element_type_;
    int n_area_id_;
};

}  // namespace Resources
}  // namespace ZELPlatform
