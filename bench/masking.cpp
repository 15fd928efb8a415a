#include <regex>
#include <string>

#include "bench/benches.h"
#include "bench/history_tables.h"
#include "internal/MaskUrl.h"

namespace bench {

namespace {

constexpr int kUrls = 2000;
constexpr std::size_t kUrlLength = 200;

/// The URL of a usual request, with its session id in the middle of the query.
std::string Url() {
    std::string url = "/cameras/search?area=17&name=Gate%20camera%2C%20north%20side&sort=name&page=3&";
    url += "SID=4fQ9zT1kXb7RmW2hLs8vNc5yGd0pJaUe&fields=";
    while (url.size() < kUrlLength) url += "name,zone,";
    url.resize(kUrlLength);
    return url;
}

/// The same with the regular expression that says what is masked, compiled once.
std::string MaskByRegex(const std::string& url, const std::regex& pattern) {
    std::smatch match;
    if (!std::regex_search(url, match, pattern) || match.length(1) == 0) return url;
    const std::string id = match.str(1);
    return std::regex_replace(url, pattern, "SID=" + id.substr(0, 6) + "**********" + id.substr(26));
}

}  // namespace

std::vector<Comparison> Masking(const Options& options) {
    const std::string url = Url();
    const std::regex pattern("SID=([^&]*)", std::regex::ECMAScript | std::regex::optimize);
    Require(qar::internal::MaskUrlForLog(url, true) == MaskByRegex(url, pattern), "both mask alike");
    Work work;
    work.name = "session id masked in a URL of 200 characters";
    work.raw_name = "the regular expression, compiled once";
    work.limit = 0.05;
    work.operations = kUrls;
    work.rounds = options.rounds * kShortRounds;
    std::size_t bytes = 0;
    work.raw = [&] {
        for (int i = 0; i < kUrls; ++i) bytes += MaskByRegex(url, pattern).size();
    };
    work.ours = [&] {
        for (int i = 0; i < kUrls; ++i) bytes += qar::internal::MaskUrlForLog(url, true).size();
    };
    const Comparison comparison = Compare(work);
    Require(bytes > 0, "the results are used");
    return {comparison};
}

}  // namespace bench
