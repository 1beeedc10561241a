#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;

namespace bench {

/// The floor of an import: a document's rows, found with libxml2 and put into the program's own tables with SQLite and
/// nothing in between. Expects a store in which the account and its user are known.
class BareImport
{
public:
    explicit BareImport(const std::string& file);
    ~BareImport();
    BareImport(const BareImport&) = delete;
    BareImport& operator=(const BareImport&) = delete;

    /// Parses a full day sheet and inserts its rows, in one transaction.
    void insert(std::string_view xml);

    /// Parses the sheet, reads all rows and compares. How many rows differ.
    int compare(std::string_view xml);

    /// Parses the reply to a timer command and stores its one entry.
    void storeEntry(std::string_view xml);

private:
    class Sheet;
    class Rows;

    sqlite3* m_database = nullptr;
    std::unique_ptr<Rows> m_rows; ///< prepared statements
};

} // namespace bench
