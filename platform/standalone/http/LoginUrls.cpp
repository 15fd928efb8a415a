#include "standalone/http/LoginUrls.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <cstddef>
#include <utility>

#include "standalone/http/HeaderValue.h"
#include "standalone/http/Pages.h"
#include "standalone/http/RequestGuard.h"

namespace qarplatform {

namespace {

namespace UserSession = ZELPlatform::InterfaceCommonData::UserSession;
using UserSession::ClientType;

constexpr std::size_t kMaxBody = std::size_t{16} * 1024;

std::optional<ClientType> ClientTypeOf(const std::string& word) {
    constexpr std::array<std::pair<std::string_view, ClientType>, 3> kWords = {
        {{"web", UserSession::kClientTypeWeb},
         {"desktop", UserSession::kClientTypeDesktop},
         {"mobile", UserSession::kClientTypeMobile}}};
    for (const auto& [known, type] : kWords) {
        if (word == known) return type;
    }
    return std::nullopt;
}

bool IsForm(const ClientRequest& request) {
    HeaderValue type;
    return ParseHeaderValue(request.content_type, type) && type.value == "application/x-www-form-urlencoded";
}

std::string LocalPath(const std::string& path) { return IsLocalPath(path) ? path : "/"; }

/// The members of a JSON object that are texts.
bool ReadJson(std::string_view body, QueryParams& texts, std::string& error) {
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    rapidjson::Document document;
    document.Parse<kFlags>(body.data(), body.size());
    if (document.HasParseError() || !document.IsObject()) {
        error = "the body is no JSON object";
        return false;
    }
    const rapidjson::Value& object = document;
    for (auto member = object.MemberBegin(); member != object.MemberEnd(); ++member) {
        if (!member->value.IsString()) continue;
        texts.emplace(std::string(member->name.GetString(), member->name.GetStringLength()),
                      std::string(member->value.GetString(), member->value.GetStringLength()));
    }
    return true;
}

std::string SessionJson(const Session& session) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> json(buffer);
    const auto text = [&json](const std::string& value) {
        json.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    };
    json.StartObject();
    json.Key("user");
    json.Uint(session.user);
    json.Key("name");
    text(session.user_name);
    json.Key("session");
    text(session.id);
    json.EndObject();
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

/// What a login or logout sends.
struct LoginUrls::Fields {
    QueryParams texts;
    bool browser = false;
    std::string to;  // of a browser: a local path

    bool Read(const ClientRequest& request, std::string& error) {
        if (request.body.size() > kMaxBody) {
            error = "the body is too long";
            return false;
        }
        const bool form = IsForm(request);
        if (!(form ? AddQuery(request.body, texts, error) : ReadJson(request.body, texts, error))) return false;
        browser = form && texts.count("to") > 0;
        if (browser) to = LocalPath(texts["to"]);
        return true;
    }
};

LoginUrls::LoginUrls(FrontSessions sessions, bool https) : sessions_(std::move(sessions)), https_(https) {}

Answer LoginUrls::Page(const QueryParams& params) const {
    const auto to = params.find("to");
    return MakePage(200, LoginPage(to == params.end() ? "/" : LocalPath(to->second), "", ""));
}

Answer LoginUrls::Login(const ClientRequest& request) const {
    Fields fields;
    std::string error;
    if (!fields.Read(request, error)) return MakeError(400, error);
    const auto user = fields.texts.find("user");
    const auto password = fields.texts.find("password");
    if (user == fields.texts.end() || password == fields.texts.end()) {
        return Refused(400, "user and password are needed", fields);
    }
    const auto type_word = fields.texts.find("client_type");
    const auto type = ClientTypeOf(type_word == fields.texts.end() ? "web" : type_word->second);
    if (!type) return Refused(400, "client_type is none of web, desktop and mobile", fields);

    const LoginAnswer login = sessions_.login(user->second, password->second, *type, request.remote);
    switch (login.result) {
        case LoginAnswer::kLoggedIn:
            break;
        case LoginAnswer::kRefused:
            return Refused(401, "user name or password is wrong", fields);
        case LoginAnswer::kTooManyTries: {
            const std::string seconds = std::to_string(login.retry_after.count());
            Answer answer = Refused(429, "too many tries, the next one in " + seconds + " s", fields);
            answer.head.headers.emplace_back("Retry-After", seconds);
            return answer;
        }
        case LoginAnswer::kFailed:
            return Refused(500, "logging in failed", fields);
    }
    Answer answer = fields.browser ? MakeRedirect(fields.to)
                                   : MakeAnswer(200, "application/json; charset=utf-8", SessionJson(login.session));
    answer.head.headers.emplace_back("Set-Cookie", Cookie(login.session.id));
    return answer;
}

Answer LoginUrls::Logout(const ClientRequest& request, const std::optional<Session>& session) const {
    Fields fields;
    std::string error;
    if (!request.body.empty() && !fields.Read(request, error)) return MakeError(400, error);
    if (session) sessions_.logout(session->id);
    Answer answer = fields.browser ? MakeRedirect(fields.to) : MakeAnswer(200, "application/json; charset=utf-8", "{}");
    answer.head.headers.emplace_back("Set-Cookie", Cookie("") + "; Max-Age=0");
    return answer;
}

std::string LoginUrls::Cookie(const std::string& value) const {
    return std::string(kSessionKey) + "=" + value + "; HttpOnly; SameSite=Strict; Path=/" + (https_ ? "; Secure" : "");
}

Answer LoginUrls::Refused(unsigned status, const std::string& reason, const Fields& fields) {
    if (!fields.browser) return MakeError(status, reason);
    const auto user = fields.texts.find("user");
    return MakePage(status, LoginPage(fields.to, user == fields.texts.end() ? "" : user->second, reason));
}

}  // namespace qarplatform
