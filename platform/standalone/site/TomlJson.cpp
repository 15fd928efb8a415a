#include "standalone/site/TomlJson.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace qarplatform {

namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

template <class Value>
void WriteText(const Value& value, Writer& writer) {
    std::ostringstream text;
    text << value;
    writer.String(text.str().c_str());
}

void WriteString(std::string_view text, Writer& writer) {
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

// The parser limits the depth of a file, so recursion is bounded.
void Write(const toml::node& node, const std::string& path, Writer& writer, SiteFileErrors& errors) {
    switch (node.type()) {
        case toml::node_type::table:
            writer.StartObject();
            for (const auto& [key, value] : *node.as_table()) {
                WriteString(key.str(), writer);
                Write(value, path + "." + std::string(key.str()), writer, errors);
            }
            writer.EndObject();
            break;
        case toml::node_type::array: {
            std::size_t index = 0;
            writer.StartArray();
            for (const toml::node& value : *node.as_array()) {
                Write(value, path + "[" + std::to_string(++index) + "]", writer, errors);
            }
            writer.EndArray();
            break;
        }
        case toml::node_type::string:
            WriteString(node.as_string()->get(), writer);
            break;
        case toml::node_type::integer:
            writer.Int64(node.as_integer()->get());
            break;
        case toml::node_type::floating_point:
            if (std::isfinite(node.as_floating_point()->get())) {
                writer.Double(node.as_floating_point()->get());
            } else {
                errors.Add(std::max<std::size_t>(1, node.source().begin.line), path, "must be a finite number");
                writer.Null();
            }
            break;
        case toml::node_type::boolean:
            writer.Bool(node.as_boolean()->get());
            break;
        case toml::node_type::date:
            WriteText(node.as_date()->get(), writer);
            break;
        case toml::node_type::time:
            WriteText(node.as_time()->get(), writer);
            break;
        case toml::node_type::date_time:
            WriteText(node.as_date_time()->get(), writer);
            break;
        default:
            writer.Null();
            break;
    }
}

}  // namespace

std::string TomlToJson(const toml::table& table, const std::string& path, SiteFileErrors& errors) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    Write(table, path, writer, errors);
    return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace qarplatform
