#pragma once

#include <memory>
#include <string>

/// Reads numbers out of a JSON text. Threads: one at a time.
class CRapidJsonProto {
public:
    CRapidJsonProto();
    ~CRapidJsonProto();
    CRapidJsonProto(const CRapidJsonProto&) = delete;
    CRapidJsonProto& operator=(const CRapidJsonProto&) = delete;

    /// Parses a text up to its first NUL or end; nesting of any depth is safe.
    /// @return false when it is empty or no JSON; the object holds nothing then
    bool set_str(const std::string& text);

    /// @param path           "/" and the name of a member of the outermost object
    /// @param default_value  the answer when there is no such member or it is no number that fits an int
    int get_int_v(const std::string& path, int default_value) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};
