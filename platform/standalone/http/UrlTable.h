#pragma once

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "ZELPlatform/MsgBusRequests.h"

namespace qarplatform {

/// A URL that a plug-in serves. Immutable, so a call that runs keeps what it began with.
struct UrlBinding {
    std::string plugin;
    std::string url;  ///< as NormalPath gives it
    ZELPlatform::Method method{};
    ZELPlatform::MsgBus::UserRequestFunc fn;
    bool open = false;  ///< served without a session as well
    bool json = true;   ///< carries JSON
};

/// Which plug-in serves which URL. Operations as in ZELPlatform::MsgBus. Threads: any.
class UrlTable {
public:
    struct Match {
        std::shared_ptr<const UrlBinding> binding;  ///< null: none for this path and method
        std::array<std::string, 4> numbers;         ///< those behind the URL; the first empty one ends them
        /// Without a binding: the verbs that the path takes, for the header line Allow; "" when no URL is bound to it.
        std::string allow;
    };

    /// The table of the process, never destroyed.
    static UrlTable& Get();

    bool Add(const std::string& plugin, const std::string& url, ZELPlatform::Method method,
             ZELPlatform::MsgBus::UserRequestFunc fn, bool open);
    bool MarkNoneJson(const std::string& plugin, const std::vector<std::string>& urls);
    bool Delete(const std::string& url, ZELPlatform::Method method);

    /// @param path    as NormalPath gives it
    /// @param method  kMethodGet, kMethodPut, kMethodPost or kMethodDelete
    Match Find(std::string_view path, int method) const;

    /// @return the bindings in the order of their URLs
    std::vector<std::shared_ptr<const UrlBinding>> All() const;

private:
    using Bindings = std::vector<std::shared_ptr<const UrlBinding>>;  // of one URL, no method twice
    using Urls = std::map<std::string, Bindings, std::less<>>;

    std::shared_ptr<const Urls> Snapshot() const;

    mutable std::mutex mutex_;
    // guarded by mutex_; replaced as a whole, so that a request takes a reference and nothing more
    std::shared_ptr<const Urls> urls_ = std::make_shared<const Urls>();
};

}  // namespace qarplatform
