#pragma once

#include "Import.h"

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// Entries in files of other programs: comma-separated values of any make, the XML that Hamster exports, the JSON of
// `timew export`, and our own CSV. All become lines with columns, of which somebody says what they mean.

namespace localservice {

/// What a column means.
enum class Role
{
    None,
    Day,
    Start, ///< a time of day, or a moment
    End,
    Hours,
    Minutes, ///< a duration in minutes
    Client,
    Project,
    Code,
    Task,
    Notes, ///< may be several columns, joined line by line
    Tags,  ///< added to the notes
    Person,
    Billable,
};

enum class DateOrder
{
    YearFirst,
    DayFirst,
    MonthFirst,
};

/// What a file looks like.
struct Sheet
{
    enum class Kind
    {
        Csv,
        OwnCsv, ///< as the reports write it
        Hamster,
        Timewarrior,
    };

    static constexpr std::size_t MostLines = 500'000;
    static constexpr std::size_t MostColumns = 100;

    Kind kind = Kind::Csv;
    char separator = ',';
    bool hasHeadings = true;
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> samples; ///< its first lines
};

/// What the columns of a file mean, and what stands for what is missing.
struct Meaning
{
    std::vector<Role> roles; ///< of the columns
    DateOrder order = DateOrder::YearFirst;
    bool isOrderSure = true; ///< the dates themselves leave no doubt
    std::string client = "Imported";
    std::string project = "Imported";
    std::string task = "Work";
};

struct SheetLine
{
    std::size_t number = 0; ///< from 1
    std::vector<std::string> cells;
};

/// The file in UTF-8: with or without a byte order mark, from UTF-16 with one, or else from Windows-1252, which has all
/// of Latin-1.
std::string utf8Of(std::string_view file);

/// Recognises a file, in UTF-8; or the line from which on it cannot be read.
tl::expected<Sheet, LineRemark> recognise(std::string_view file);
/// Goes through all lines but the headings. Files that are no such thing, too long or nested are refused where that
/// shows, however far it got.
tl::expected<void, LineRemark> readLines(std::string_view file, const Sheet& sheet,
                                         const std::function<void(const SheetLine&)>& take);

/// What the columns probably mean, by their headings and first lines.
Meaning guess(std::string_view file, const Sheet& sheet);

/// The entries of a file. Lines that cannot be read are among the result's `unreadable`. `keepsTimes`: entries have
/// start and end in this account.
tl::expected<Incoming, LineRemark> readSheet(std::string_view file, const Sheet& sheet, const Meaning& meaning,
                                             bool keepsTimes);

} // namespace localservice
