#include "standalone/http/Pages.h"

namespace qarplatform {

namespace {

constexpr std::string_view kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>)";
constexpr std::string_view kStyle = R"(</title>
<style>
:root { color-scheme: light dark; }
body { font: 1rem/1.5 system-ui, sans-serif; max-width: 40rem; margin: 3rem auto; padding: 0 1rem; }
label, input, button { display: block; font: inherit; }
label { margin-top: 1rem; }
input { width: 100%; max-width: 20rem; padding: .4rem; box-sizing: border-box; }
button { margin-top: 1.5rem; padding: .4rem 1.2rem; }
</style>
</head>
<body>
<main>
)";
constexpr std::string_view kFoot = "</main>\n</body>\n</html>\n";

std::string Page(std::string_view title, const std::string& content) {
    std::string page(kHead);
    page.append(title).append(kStyle).append(content).append(kFoot);
    return page;
}

bool OpensInBrowser(const UrlBinding& binding) {
    return binding.method == ZELPlatform::kMethodGet || binding.method == ZELPlatform::kMethodPostGet ||
           binding.method == ZELPlatform::kMethodAny;
}

// The characters of a path that stand for themselves in a link.
std::string LinkTo(std::string_view path) {
    constexpr std::string_view kHexDigits = "0123456789ABCDEF";
    std::string link;
    for (const char c : path) {
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        const bool digit = c >= '0' && c <= '9';
        if (letter || digit || std::string_view("/-._~").find(c) != std::string_view::npos) {
            link += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            link += '%';
            link += kHexDigits[byte / 16];
            link += kHexDigits[byte % 16];
        }
    }
    return link;
}

}  // namespace

std::string EscapeHtml(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string LoginPage(std::string_view to, std::string_view user, std::string_view message) {
    std::string content = "<h1>Log in</h1>\n";
    if (!message.empty()) content += "<p role=\"alert\">" + EscapeHtml(message) + "</p>\n";
    content += "<form method=\"post\" action=\"/login\">\n";
    content += "<input type=\"hidden\" name=\"to\" value=\"" + EscapeHtml(to) + "\">\n";
    content +=
        "<label for=\"user\">User name</label>\n"
        "<input id=\"user\" name=\"user\" autocomplete=\"username\" required autofocus value=\"" +
        EscapeHtml(user) + "\">\n";
    content +=
        "<label for=\"password\">Password</label>\n"
        "<input id=\"password\" name=\"password\" type=\"password\" autocomplete=\"current-password\" required>\n"
        "<button type=\"submit\">Log in</button>\n"
        "</form>\n";
    return Page("Log in", content);
}

std::string IndexPage(std::string_view user, const std::vector<std::shared_ptr<const UrlBinding>>& bindings) {
    std::string content = "<h1>Pages</h1>\n<p>Logged in as " + EscapeHtml(user) + ".</p>\n";
    std::string items;
    for (const auto& binding : bindings) {
        if (!OpensInBrowser(*binding)) continue;
        items += "<li><a href=\"" + EscapeHtml(LinkTo(binding->url)) + "\">" + EscapeHtml(binding->url) + "</a> (" +
                 EscapeHtml(binding->plugin) + ")</li>\n";
    }
    content += items.empty() ? "<p>No plug-in serves a page.</p>\n" : "<ul>\n" + items + "</ul>\n";
    content +=
        "<form method=\"post\" action=\"/logout\">\n"
        "<input type=\"hidden\" name=\"to\" value=\"/login\">\n"
        "<button type=\"submit\">Log out</button>\n"
        "</form>\n";
    return Page("Pages", content);
}

}  // namespace qarplatform
