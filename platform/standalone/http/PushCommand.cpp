#include "standalone/http/PushCommand.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <cstddef>
#include <string_view>

#include "ZELPlatform/MsgBusEvents.h"

namespace qarplatform {

namespace {

using rapidjson::Value;

bool Fail(std::string& error, std::string text) {
    error = std::move(text);
    return false;
}

bool TakeNumber(const Value& value, std::set<int>& numbers) {
    if (!value.IsInt()) return false;
    numbers.insert(value.GetInt());
    return true;
}

bool TakeNumber(const Value& value, std::set<unsigned int>& numbers) {
    if (!value.IsUint()) return false;
    numbers.insert(value.GetUint());
    return true;
}

template <class Number>
bool TakeNumbers(const Value& list, const std::string& name, std::set<Number>& numbers, std::string& error) {
    if (!list.IsArray() || list.Empty()) return Fail(error, "\"" + name + "\" is no list of numbers");
    for (const Value& value : list.GetArray()) {
        if (!TakeNumber(value, numbers)) return Fail(error, "\"" + name + "\" holds what is no number of 32 bits");
    }
    return true;
}

bool TakeMember(const std::string& name, const Value& value, PushCommand& command, std::string& error) {
    if (name == "messages") return TakeNumbers(value, name, command.messages, error);
    command.about_events = true;
    if (name == "events") return TakeNumbers(value, name, command.events, error);
    if (name == "resource_types") return TakeNumbers(value, name, command.resource_types, error);
    if (name == "resource_ids") return TakeNumbers(value, name, command.resource_ids, error);
    return Fail(error, "unknown key \"" + name + "\"");
}

}  // namespace

bool ParsePushCommand(const std::string& text, PushCommand& command, std::string& error) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(text.data(), text.size());
    if (document.HasParseError()) {
        return Fail(error, rapidjson::GetParseError_En(document.GetParseError()) + std::string(" At byte ") +
                               std::to_string(document.GetErrorOffset()) + ".");
    }
    if (!document.IsObject() || document.MemberCount() != 1) return Fail(error, "no object with one key");
    const auto member = document.MemberBegin();
    const std::string_view word(member->name.GetString(), member->name.GetStringLength());
    if (word != "subscribe" && word != "unsubscribe") return Fail(error, "neither \"subscribe\" nor \"unsubscribe\"");
    if (!member->value.IsObject() || member->value.ObjectEmpty()) return Fail(error, "it does not say of what");
    command = PushCommand();
    command.subscribe = word == "subscribe";
    const Value& wanted = member->value;
    for (auto entry = wanted.MemberBegin(); entry != wanted.MemberEnd(); ++entry) {
        const std::string name(entry->name.GetString(), entry->name.GetStringLength());
        if (!TakeMember(name, entry->value, command, error)) return false;
    }
    if (command.about_events && command.events.empty()) command.events.insert(ZELPlatform::MsgBus::kAllEvents);
    return true;
}

}  // namespace qarplatform
