#pragma once

#include <string>

namespace db_layer {

/// One connection of the platform's database layer. After a successful query it holds the whole result, which stands
/// before its first row, until the next statement on it.
/// Threads: one at a time. Ownership: the platform's pool, or a std::shared_ptr where one is handed out; a raw pointer
/// given to a result function is valid during that call only.
/// The order of the virtual operations is part of the contract.
class CConnect {
public:
    virtual ~CConnect() {}

    /// Runs statements without rows. Several statements in one text, separated by ";", are run in order as one unit.
    /// @return false on failure: nothing of the text has taken effect, GetLastErrorText tells why
    virtual bool Execute(const std::string& sql) = 0;

    /// Runs a query and keeps its result.
    /// @return false on failure, GetLastErrorText tells why; there is no result then
    virtual bool Query(const std::string& sql) = 0;

    /// @param text  gets the text of the last failure of this connection; "" when the last statement succeeded
    virtual void GetLastErrorText(std::string& text) = 0;

    /// Query with a time-out.
    /// @param timeout  real seconds after which the query is given up with a failure; null or 0: none
    virtual bool QueryUDT(const std::string& sql, const unsigned int* timeout) = 0;

    /// Query whose last ORDER BY sorts texts by a collation.
    /// @param collate  name of the collation; "" sorts as the database does by itself
    virtual bool QuerySortByCollate(const std::string& sql, const std::string& collate) = 0;

    /// Runs a changing statement that returns rows, and keeps them.
    virtual bool ExecuteReturning(const std::string& sql) = 0;

    /// QuerySortByCollate with the time-out of QueryUDT.
    virtual bool QuerySortByCollateUDT(const std::string& sql, const std::string& collate,
                                       const unsigned int* timeout) = 0;

    /// @return true when there is no row to read: no result, an empty one, or all rows have been passed
    virtual bool IsEnd() = 0;

    /// Goes on to the next row. Harmless at the end.
    virtual void MoveNext() = 0;

    /// @param column  name of a column of the result, case-insensitive
    /// @return the current row's value; 0 for NULL, an unknown column, a text that is no number, or at the end
    virtual long long GetInt(const std::string& column) = 0;

    /// @param column  name of a column of the result, case-insensitive
    /// @return the current row's value as text; "" for NULL, an unknown column, or at the end
    virtual std::string GetString(const std::string& column) = 0;
};

}  // namespace db_layer
