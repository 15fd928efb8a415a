#include "standalone/http/UrlTable.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "Mox/Base/Error.h"
#include "standalone/http/HttpErrors.h"
#include "standalone/http/QueryText.h"

namespace qarplatform {

namespace {

using ZELPlatform::Method;

constexpr std::array<std::string_view, 4> kReserved = {"/", "/login", "/logout", "/push"};

/// The methods 0 to 3 that a Method stands for, a bit each; 0 for an unknown one.
unsigned MethodBits(int method) {
    if (method == ZELPlatform::kMethodAny) return 0b1111;
    if (method == ZELPlatform::kMethodPostGet) return 1U << ZELPlatform::kMethodPost | 1U << ZELPlatform::kMethodGet;
    return method >= ZELPlatform::kMethodGet && method <= ZELPlatform::kMethodDelete ? 1U << method : 0;
}

std::string Verbs(unsigned bits) {
    constexpr std::array<std::string_view, 4> kVerbs = {"GET, HEAD", "PUT", "POST", "DELETE"};
    std::string text;
    for (std::size_t i = 0; i < kVerbs.size(); ++i) {
        if ((bits >> i & 1U) != 0) text.append(text.empty() ? "" : ", ").append(kVerbs[i]);
    }
    return text;
}

bool Refuse(HttpErrorCode code) {
    Mox::Base::Error::SetLastError(Mox::Base::Error::ErrorCode(kErrorModuleHttp, code));
    return false;
}

bool IsNumber(std::string_view segment) {
    if (!segment.empty() && segment.front() == '-') segment.remove_prefix(1);
    return !segment.empty() && std::all_of(segment.begin(), segment.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool ReadUrl(const std::string& url, std::string& normal) {
    std::string what;
    return NormalPath(url, normal, what) || Refuse(kHttpErrorBadUrl);
}

}  // namespace

UrlTable& UrlTable::Get() {
    static UrlTable& table = *new UrlTable;
    return table;
}

bool UrlTable::Add(const std::string& plugin, const std::string& url, Method method,
                   ZELPlatform::MsgBus::UserRequestFunc fn, bool open) {
    if (!fn) return Refuse(kHttpErrorNoFunction);
    auto binding = std::make_shared<UrlBinding>();
    if (!ReadUrl(url, binding->url)) return false;
    const unsigned bits = MethodBits(method);
    if (bits == 0) return Refuse(kHttpErrorBadUrl);
    if (std::find(kReserved.begin(), kReserved.end(), binding->url) != kReserved.end()) {
        return Refuse(kHttpErrorReserved);
    }
    binding->plugin = plugin;
    binding->method = method;
    binding->fn = std::move(fn);
    binding->open = open;
    std::lock_guard<std::mutex> lock(mutex_);
    auto urls = std::make_shared<Urls>(*urls_);
    Bindings& bindings = (*urls)[binding->url];
    if (std::any_of(bindings.begin(), bindings.end(),
                    [bits](const auto& bound) { return (MethodBits(bound->method) & bits) != 0; })) {
        return Refuse(kHttpErrorBound);
    }
    bindings.push_back(std::move(binding));
    urls_ = std::move(urls);
    return true;
}

bool UrlTable::MarkNoneJson(const std::string& plugin, const std::vector<std::string>& urls) {
    std::shared_ptr<const Urls> before;  // let go of without the lock, as functions may hold plug-ins' objects
    bool all_bound = true;
    std::lock_guard<std::mutex> lock(mutex_);
    auto changed = std::make_shared<Urls>(*urls_);
    for (const std::string& url : urls) {
        std::string normal;
        std::string what;
        const auto found = NormalPath(url, normal, what) ? changed->find(normal) : changed->end();
        bool bound = false;
        if (found != changed->end()) {
            for (auto& binding : found->second) {
                if (binding->plugin != plugin) continue;
                auto marked = std::make_shared<UrlBinding>(*binding);
                marked->json = false;
                binding = std::move(marked);
                bound = true;
            }
        }
        all_bound = all_bound && bound;
    }
    before = std::exchange(urls_, std::move(changed));
    return all_bound || Refuse(kHttpErrorNotBound);
}

bool UrlTable::Delete(const std::string& url, Method method) {
    std::string normal;
    if (!ReadUrl(url, normal)) return false;
    std::shared_ptr<const Urls> before;  // as in MarkNoneJson
    std::lock_guard<std::mutex> lock(mutex_);
    auto urls = std::make_shared<Urls>(*urls_);
    const auto found = urls->find(normal);
    if (found == urls->end()) return Refuse(kHttpErrorNotBound);
    const std::size_t gone = std::erase_if(found->second, [method](const auto& binding) {
        return method == ZELPlatform::kMethodAny || binding->method == method;
    });
    if (gone == 0) return Refuse(kHttpErrorNotBound);
    if (found->second.empty()) urls->erase(found);
    before = std::exchange(urls_, std::move(urls));
    return true;
}

UrlTable::Match UrlTable::Find(std::string_view path, int method) const {
    const std::shared_ptr<const Urls> urls = Snapshot();
    Match match;
    std::vector<std::string_view> behind;  // numbers at the path's end, the last first
    auto found = urls->find(path);
    while (found == urls->end()) {
        const std::size_t slash = path.rfind('/');
        if (slash == std::string_view::npos || behind.size() == match.numbers.size()) return match;
        const std::string_view segment = path.substr(slash + 1);
        if (!IsNumber(segment)) return match;
        behind.push_back(segment);
        path = path.substr(0, slash);
        found = urls->find(path);
    }
    unsigned bits = 0;
    for (const auto& binding : found->second) {
        const unsigned served = MethodBits(binding->method);
        if ((served & MethodBits(method)) != 0) match.binding = binding;
        bits |= served;
    }
    if (match.binding == nullptr) match.allow = Verbs(bits);
    std::copy(behind.rbegin(), behind.rend(), match.numbers.begin());
    return match;
}

std::vector<std::shared_ptr<const UrlBinding>> UrlTable::All() const {
    const std::shared_ptr<const Urls> urls = Snapshot();
    std::vector<std::shared_ptr<const UrlBinding>> all;
    for (const auto& [url, bindings] : *urls) all.insert(all.end(), bindings.begin(), bindings.end());
    return all;
}

std::shared_ptr<const UrlTable::Urls> UrlTable::Snapshot() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return urls_;
}

}  // namespace qarplatform
