#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace ZELPlatform {

/// Where the plug-ins' database of this node lies. A change is told on the topic "Config_LocalConfigManager" with the
/// observer message type 1.
class CLocalDBInfo {
public:
    CLocalDBInfo() : n_type_(0), n_port_(0) {}
    uint32_t GetValdbType() const { return n_type_; }
    const std::string& GetValdbIp() const { return str_ip_; }
    uint16_t GetValdbPort() const { return n_port_; }
    const std::string& GetValdbUser() const { return str_user_; }
    const std::string& GetValdbPasswd() const { return str_passwd_; }
    const std::string& GetValdbName() const { return str_name_; }
    void SetValdbType(uint32_t type) { n_type_ = type; }
    void SetValdbIp(const std::string& ip) { str_ip_ = ip; }
    void SetValdbPort(uint16_t port) { n_port_ = port; }
    void SetValdbUser(const std::string& user) { str_user_ = user; }
    void SetValdbPasswd(const std::string& passwd) { str_passwd_ = passwd; }
    void SetValdbName(const std::string& name) { str_name_ = name; }

private:
    uint32_t n_type_;
    std::string str_ip_;
    uint16_t n_port_;
    std::string str_user_;
    std::string str_passwd_;
    std::string str_name_;
};

namespace LocalConfigManager {

/// @return a copy of the present database information; null when it is not to be had. Threads: any.
std::shared_ptr<CLocalDBInfo> GetLocationDBInfo();

}  // namespace LocalConfigManager
}  // namespace ZELPlatform
