#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "standalone/http/UrlTable.h"

namespace qarplatform {

/// @return the text with what means something in HTML, also in quoted attributes, written as references
std::string EscapeHtml(std::string_view text);

/// @param to       local path that a login leads to
/// @param user     user name that is filled in
/// @param message  told above the form; "" for none
std::string LoginPage(std::string_view to, std::string_view user, std::string_view message);

/// The first page: who is logged in, the URLs that a browser can open, and a way out.
std::string IndexPage(std::string_view user, const std::vector<std::shared_ptr<const UrlBinding>>& bindings);

}  // namespace qarplatform
