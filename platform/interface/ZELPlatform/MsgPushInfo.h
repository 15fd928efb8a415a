#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>

#include "ZELPlatform/BaseContent.h"

namespace ZELPlatform {

/// Categories of messages on the bus.
enum MsgCategory {
    kMsgCategoryNotify = 3,
};

/// One notify message on its way.
class CMsgPushInfo {
public:
    CMsgPushInfo() : b_has_category_(false), b_has_type_(false), n_category_(MsgCategory()), n_type_(0) {}

    void SetPublisher(const std::string& publisher) { str_publisher_ = publisher; }
    void SetMsgCategory(MsgCategory category) {
        n_category_ = category;
        b_has_category_ = true;
    }
    void SetTypeValue(int type) {
        n_type_ = type;
        b_has_type_ = true;
    }
    void SetMsgContent(const std::shared_ptr<CMsgBusContentBase>& content) { ptr_content_ = content; }
    /// @param permissions  permission to the resource ids for which it is asked; an empty list: for no certain resource
    void SetUserPermissionInfo(const std::map<int, std::list<int>>& permissions) { map_permissions_ = permissions; }

    const std::string& GetPublisher() const { return str_publisher_; }
    bool HasMsgCategory() const { return b_has_category_; }
    bool HasTypeValue() const { return b_has_type_; }
    MsgCategory GetMsgCategory() const { return n_category_; }
    /// @return the message's type; 0 when it was never set
    int GetTypeValue() const { return n_type_; }
    std::shared_ptr<CMsgBusContentBase> GetMsgContent() const { return ptr_content_; }
    const std::map<int, std::list<int>>& GetUserPermissionInfo() const { return map_permissions_; }

private:
    std::string str_publisher_;
    bool b_has_category_;
    bool b_has_type_;
    MsgCategory n_category_;
    int n_type_;
    std::shared_ptr<CMsgBusContentBase> ptr_content_;
    std::map<int, std::list<int>> map_permissions_;
};

}  // namespace ZELPlatform
