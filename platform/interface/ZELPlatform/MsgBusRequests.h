#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ZELPlatform/BusTypes.h"

namespace ZELPlatform {

/// One part of a multipart body.
struct MsgMimePart {
    std::string str_content_type;         ///< "" when the part names none
    std::string str_content_disposition;  ///< the whole header line's value
    std::string str_name;                 ///< the form field's name
    std::string str_file_name;            ///< "" for a part that is no file
    std::string str_transfer_encoding;    ///< the header line's value; the data is as it was sent
    std::string str_headers;              ///< all header lines of the part, as sent
    std::string str_data;
};

/// One user's request.
struct MsgIn {
    MsgIn() : n_connection(-1), n_method(-1), p_body(nullptr), n_body_size(0) {}

    /// The request and its connection, for HttpServerSyncSend. Never used again while an answer may be sent.
    int32_t n_connection;
    int32_t n_method;     ///< a Method: what key MT of a POST names, else the verb's
    std::string str_url;  ///< as requested, with its query
    std::string
        str_numbers[4];  ///< numbers that follow the bound URL in the path, as text; the first empty one ends them
    std::string str_request_text;  ///< the session's id; "" without one
    /// Keys and values of the query and of a form in the body, decoded; the first of equal keys. Without the session's
    /// id.
    std::map<std::string, std::string> map_params;
    std::vector<MsgMimePart> vec_mime;
    const char* p_body;  ///< valid for the length of the call; may be null when the size is 0
    std::size_t n_body_size;
};

/// What the handler says of the answer.
struct MsgOut {
    MsgOut() : b_send(true) {}

    /// true: the platform sends ProtoParam2's text when the call is over. false: the answer was or will be sent with
    /// HttpServerSyncSend; until then the connection is kept, up to a time-out.
    bool b_send;
};

/// The answer of a request.
struct ProtoParam2 {
    std::string str_answer;
};

namespace MsgBus {

/// Handles a request. Called on a worker of the platform, several calls at once. What it throws is caught and logged,
/// and answered with 500.
using UserRequestFunc = std::function<void(MsgIn& in, MsgOut& out, ProtoParam2& param)>;

/// Binds a URL. A request for it, or for it followed by up to four numbers as segments of the path, is handed to `fn`;
/// of several bound URLs the longest decides.
/// @param url   absolute path without a query
/// @param flag  true: served without a session as well
/// @return false when `url` is no such path, `fn` is empty, or a method of it is bound already, with the last error set
bool AddURL(const std::string& plugin, const std::string& url, Method method, UserRequestFunc fn, CmdParam::Exec exec,
            bool flag);

/// Marks URLs as carrying no JSON. The platform refuses a body that is no JSON on every other URL, and calls its
/// answers JSON; the answers of marked URLs are told apart by their first characters.
/// @return false for a URL that `plugin` has not bound; the others are marked all the same
bool AddNoneJsonURL(const std::string& plugin, const std::vector<std::string>& urls);

/// Releases a URL. Calls that run go on, and may still answer.
/// @param method  kMethodAny: all of its methods; else those bound with this one
/// @return false when nothing was bound, with the last error set
bool DeleteURL(const std::string& url, Method method);

}  // namespace MsgBus
}  // namespace ZELPlatform
