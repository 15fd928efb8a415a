#include <rapidjson/document.h>

#include "qarutil/RapidJsonProto.h"

class CRapidJsonProto::Impl {
public:
    rapidjson::Document document;
};

CRapidJsonProto::CRapidJsonProto() = default;

CRapidJsonProto::~CRapidJsonProto() = default;

bool CRapidJsonProto::set_str(const std::string& text) {
    impl_ = std::make_unique<Impl>();
    // by the C string: a NUL ends the text
    impl_->document.Parse<rapidjson::kParseIterativeFlag>(text.c_str());
    if (impl_->document.HasParseError()) impl_.reset();
    return impl_ != nullptr;
}

int CRapidJsonProto::get_int_v(const std::string& path, int default_value) const {
    if (!impl_ || !impl_->document.IsObject() || path.empty() || path[0] != '/') return default_value;
    const rapidjson::Document& document = impl_->document;
    const auto member = document.FindMember(path.c_str() + 1);
    if (member == document.MemberEnd() || !member->value.IsInt()) return default_value;
    return member->value.GetInt();
}
