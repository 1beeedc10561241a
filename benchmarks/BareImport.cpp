#include "BareImport.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <sqlite3.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace bench {

namespace {

using Text = std::string_view;

struct Cell
{
    enum Kind
    {
        Null,
        Integer,
        Real,
        String
    } kind = Null;
    std::int64_t integer = 0;
    double real = 0;
    Text text;

    Cell() = default;
    Cell(std::int64_t value) : kind(Integer), integer(value) {}
    Cell(bool value) : kind(Integer), integer(value) {}
    Cell(double value) : kind(Real), real(value) {}
    Cell(Text value) : kind(String), text(value) {}

    bool operator==(const Cell& other) const
    {
        return kind == other.kind && integer == other.integer && real == other.real && text == other.text;
    }
};

enum TableIndex
{
    Client,
    Project,
    Task,
    UserAssignment,
    TaskAssignment,
    DayEntry,
    TableCount
};

struct Table
{
    const char* name;
    const char* columns;
    int count;
};

constexpr std::array<Table, TableCount> Tables = {{
    {"Client", "name, company", 2},
    {"Project", "idString, name, code, isBillable, isActive, company, client", 7},
    {"Task", "idString, name, company", 3},
    {"UserAssignment", "projectId, user, project, company", 4},
    {"TaskAssignment", "projectId, taskId, isBillable, project, task, company", 6},
    {"DayEntry",
     "idString, notes, hours, hoursWithoutTimer, spentAt, timerStarted, updatedAt, createdAt, isBilled, isLocked, "
     "projectId, taskId, userId, project, task, user, company",
     17},
}};

const xmlNode* next(const xmlNode* node, const char* name)
{
    while (node &&
           (node->type != XML_ELEMENT_NODE || std::strcmp(reinterpret_cast<const char*>(node->name), name) != 0))
        node = node->next;
    return node;
}

const xmlNode* child(const xmlNode* node, const char* name)
{
    return node ? next(node->children, name) : nullptr;
}

Text content(const xmlNode* node)
{
    return node && node->children && node->children->content
               ? Text(reinterpret_cast<const char*>(node->children->content))
               : Text("");
}

Text textOf(const xmlNode* node, const char* name)
{
    return content(child(node, name));
}

bool truth(const xmlNode* node, const char* name)
{
    return textOf(node, name) == "true";
}

double number(const xmlNode* node, const char* name)
{
    return std::strtod(textOf(node, name).data(), nullptr);
}

/// "Tue, 5 Mar 2024 09:13:00 +0000"
Cell moment(const xmlNode* node, const char* name)
{
    const Text text = textOf(node, name);
    std::tm fields{};
    char month[4] = {};
    if (std::sscanf(text.data(), "%*3s, %d %3s %d %d:%d:%d", &fields.tm_mday, month, &fields.tm_year, &fields.tm_hour,
                    &fields.tm_min, &fields.tm_sec) != 6)
        return {};
    fields.tm_mon = static_cast<int>(
        (std::strstr("JanFebMarAprMayJunJulAugSepOctNovDec", month) - "JanFebMarAprMayJunJulAugSepOctNovDec") / 3);
    fields.tm_year -= 1900;
    return std::int64_t{timegm(&fields)} * 1000;
}

/// "2024-03-05": the start of that local day.
Cell day(const xmlNode* node, const char* name)
{
    std::tm fields{};
    if (std::sscanf(textOf(node, name).data(), "%d-%d-%d", &fields.tm_year, &fields.tm_mon, &fields.tm_mday) != 3)
        return {};
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    fields.tm_isdst = -1;
    return std::int64_t{std::mktime(&fields)} * 1000;
}

sqlite3_stmt* prepared(sqlite3* database, const std::string& sql)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database));
    return statement;
}

void execute(sqlite3* database, const char* sql)
{
    if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(database));
}

std::int64_t queried(sqlite3* database, const std::string& sql)
{
    sqlite3_stmt* statement = prepared(database, sql);
    const std::int64_t value = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int64(statement, 0) : 0;
    sqlite3_finalize(statement);
    return value;
}

/// A key of a row within its table: a string or a pair of rows.
struct Key
{
    Text text;
    std::int64_t first = 0, second = 0;
    bool operator==(const Key&) const = default;
};

struct KeyHash
{
    std::size_t operator()(const Key& key) const noexcept
    {
        return std::hash<Text>{}(key.text) ^ static_cast<std::size_t>(key.first * 1000003 + key.second);
    }
};

struct FreeDocument
{
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};

} // namespace

class BareImport::Rows
{
public:
    explicit Rows(sqlite3* database) : m_database(database)
    {
        for (std::size_t i = 0; i < TableCount; ++i) {
            const std::string name = Tables[i].name, columns = Tables[i].columns;
            std::string places = "?";
            for (int k = 0; k < Tables[i].count; ++k)
                places += ", ?";
            m_insert[i] =
                prepared(database, "INSERT OR REPLACE INTO " + name + " (pk, " + columns + ") VALUES (" + places + ')');
            m_select[i] = prepared(database, "SELECT pk, " + columns + " FROM " + name);
            m_last[i] = queried(database, "SELECT max(pk) FROM " + name);
        }
        company = queried(database, "SELECT pk FROM Company");
        user = queried(database, "SELECT pk FROM User");
    }
    ~Rows()
    {
        for (std::size_t i = 0; i < TableCount; ++i) {
            sqlite3_finalize(m_insert[i]);
            sqlite3_finalize(m_select[i]);
        }
    }
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    std::int64_t insert(TableIndex table, const Cell* cells, std::int64_t row = 0)
    {
        sqlite3_stmt* statement = m_insert[table];
        if (row == 0)
            row = ++m_last[table];
        sqlite3_bind_int64(statement, 1, row);
        for (int i = 0; i < Tables[table].count; ++i) {
            const Cell& cell = cells[i];
            if (cell.kind == Cell::Integer)
                sqlite3_bind_int64(statement, i + 2, cell.integer);
            else if (cell.kind == Cell::Real)
                sqlite3_bind_double(statement, i + 2, cell.real);
            else if (cell.kind == Cell::String)
                sqlite3_bind_text(statement, i + 2, cell.text.data(), static_cast<int>(cell.text.size()),
                                  SQLITE_STATIC);
            else
                sqlite3_bind_null(statement, i + 2);
        }
        if (sqlite3_step(statement) != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(m_database));
        sqlite3_reset(statement);
        return row;
    }

    template <class Take>
    void select(TableIndex table, Take take)
    {
        sqlite3_stmt* statement = m_select[table];
        while (sqlite3_step(statement) == SQLITE_ROW)
            take(statement);
        sqlite3_reset(statement);
    }

    std::int64_t rowOf(const char* table, Text id)
    {
        return queried(m_database, "SELECT pk FROM " + std::string(table) + " WHERE company = " +
                                       std::to_string(company) + " AND idString = '" + std::string(id) + '\'');
    }

    std::int64_t company = 0;
    std::int64_t user = 0;

private:
    sqlite3* m_database;
    std::array<sqlite3_stmt*, TableCount> m_insert{};
    std::array<sqlite3_stmt*, TableCount> m_select{};
    std::array<std::int64_t, TableCount> m_last{};
};

/// A parsed document, walked once.
class BareImport::Sheet
{
public:
    explicit Sheet(Text xml)
        : m_document(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, "UTF-8",
                                   XML_PARSE_NONET | XML_PARSE_COMPACT))
    {
        if (!m_document)
            throw std::runtime_error("the document cannot be read");
    }

    const xmlNode* root() const { return xmlDocGetRootElement(m_document.get()); }

    /// Passes every row to `put(table, key, cells)`, which returns the row's number.
    template <class Put>
    void walk(const Rows& rows, Put put) const
    {
        std::unordered_map<Text, std::int64_t> clients, projects, tasks;
        const Cell company = rows.company;
        for (const xmlNode* project = child(child(root(), "projects"), "project"); project;
             project = next(project->next, "project")) {
            const Text client = textOf(project, "client");
            auto [clientRow, isNewClient] = clients.try_emplace(client);
            if (isNewClient) {
                const std::array<Cell, 2> cells{client, company};
                clientRow->second = put(Client, Key{client}, cells.data());
            }
            const Text id = textOf(project, "id");
            const std::array<Cell, 7> cells{
                id,      textOf(project, "name"), textOf(project, "code"), truth(project, "billable"), true,
                company, clientRow->second};
            const std::int64_t projectRow = put(Project, Key{id}, cells.data());
            projects.emplace(id, projectRow);
            const std::array<Cell, 4> mine{id, rows.user, projectRow, company};
            put(UserAssignment, Key{{}, projectRow, rows.user}, mine.data());
            for (const xmlNode* task = child(child(project, "tasks"), "task"); task; task = next(task->next, "task")) {
                const Text taskId = textOf(task, "id");
                auto [taskRow, isNewTask] = tasks.try_emplace(taskId);
                if (isNewTask) {
                    const std::array<Cell, 3> named{taskId, textOf(task, "name"), company};
                    taskRow->second = put(Task, Key{taskId}, named.data());
                }
                const std::array<Cell, 6> assigned{id,         taskId,          truth(task, "billable"),
                                                   projectRow, taskRow->second, company};
                put(TaskAssignment, Key{{}, projectRow, taskRow->second}, assigned.data());
            }
        }
        for (const xmlNode* entry = child(child(root(), "day_entries"), "day_entry"); entry;
             entry = next(entry->next, "day_entry"))
            walkEntry(entry, rows, projects[textOf(entry, "project_id")], tasks[textOf(entry, "task_id")], put);
    }

    template <class Put>
    static void walkEntry(const xmlNode* entry, const Rows& rows, std::int64_t project, std::int64_t task, Put put)
    {
        const Text id = textOf(entry, "id");
        const std::array<Cell, 17> cells{id,
                                         textOf(entry, "notes"),
                                         number(entry, "hours"),
                                         number(entry, "hours_without_timer"),
                                         day(entry, "spent_at"),
                                         moment(entry, "timer_started_at"),
                                         moment(entry, "updated_at"),
                                         moment(entry, "created_at"),
                                         truth(entry, "is_billed"),
                                         truth(entry, "is_locked"),
                                         textOf(entry, "project_id"),
                                         textOf(entry, "task_id"),
                                         textOf(entry, "user_id"),
                                         project,
                                         task,
                                         rows.user,
                                         rows.company};
        put(DayEntry, Key{id}, cells.data());
    }

private:
    std::unique_ptr<xmlDoc, FreeDocument> m_document;
};

BareImport::BareImport(const std::string& file)
{
    if (sqlite3_open_v2(file.c_str(), &m_database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK)
        throw std::runtime_error("the store cannot be opened");
    execute(m_database, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
    m_rows = std::make_unique<Rows>(m_database);
}

BareImport::~BareImport()
{
    m_rows.reset();
    sqlite3_close(m_database);
}

void BareImport::insert(std::string_view xml)
{
    const Sheet sheet(xml);
    execute(m_database, "BEGIN IMMEDIATE");
    sheet.walk(*m_rows,
               [this](TableIndex table, const Key&, const Cell* cells) { return m_rows->insert(table, cells); });
    execute(m_database, "COMMIT");
}

int BareImport::compare(std::string_view xml)
{
    const Sheet sheet(xml);
    struct Row
    {
        std::int64_t number;
        std::size_t cells; ///< the first of its cells
    };
    // Texts are kept as long as the comparison lasts, each row's cells together.
    std::array<std::unordered_map<Key, Row, KeyHash>, TableCount> found;
    std::array<std::vector<Cell>, TableCount> all;
    std::vector<std::unique_ptr<char[]>> blocks;
    std::size_t free = 0;
    char* at = nullptr;
    const auto kept = [&](const unsigned char* text, int size) {
        const auto wanted = static_cast<std::size_t>(size);
        if (wanted > free) {
            free = std::max<std::size_t>(wanted, 1 << 16);
            blocks.push_back(std::make_unique_for_overwrite<char[]>(free));
            at = blocks.back().get();
        }
        std::memcpy(at, text, wanted);
        const Text copy(at, wanted);
        at += wanted;
        free -= wanted;
        return copy;
    };
    for (int i = 0; i < TableCount; ++i) {
        const auto table = static_cast<TableIndex>(i);
        const auto count = static_cast<std::size_t>(Tables[static_cast<std::size_t>(i)].count);
        std::vector<Cell>& cells = all[static_cast<std::size_t>(i)];
        m_rows->select(table, [&](sqlite3_stmt* statement) {
            const std::size_t first = cells.size();
            for (int column = 1; column <= static_cast<int>(count); ++column) {
                switch (sqlite3_column_type(statement, column)) {
                case SQLITE_INTEGER:
                    cells.emplace_back(std::int64_t{sqlite3_column_int64(statement, column)});
                    break;
                case SQLITE_FLOAT:
                    cells.emplace_back(sqlite3_column_double(statement, column));
                    break;
                case SQLITE_TEXT:
                    cells.emplace_back(
                        kept(sqlite3_column_text(statement, column), sqlite3_column_bytes(statement, column)));
                    break;
                default:
                    cells.emplace_back();
                }
            }
            const Cell* row = cells.data() + first;
            const Key key = table == UserAssignment   ? Key{{}, row[2].integer, row[1].integer}
                            : table == TaskAssignment ? Key{{}, row[3].integer, row[4].integer}
                                                      : Key{row[0].text};
            found[static_cast<std::size_t>(i)].emplace(key, Row{sqlite3_column_int64(statement, 0), first});
        });
    }

    int different = 0;
    sheet.walk(*m_rows, [&](TableIndex table, const Key& key, const Cell* cells) -> std::int64_t {
        const auto row = found[table].find(key);
        if (row == found[table].end()) {
            ++different;
            return 0;
        }
        const auto count = static_cast<std::size_t>(Tables[table].count);
        const Cell* stored = all[table].data() + row->second.cells;
        if (!std::equal(stored, stored + count, cells))
            ++different;
        return row->second.number;
    });
    return different;
}

void BareImport::storeEntry(std::string_view xml)
{
    const Sheet sheet(xml);
    const xmlNode* entry = child(sheet.root(), "day_entry");
    if (!entry)
        throw std::runtime_error("no entry came back");
    execute(m_database, "BEGIN IMMEDIATE");
    Sheet::walkEntry(entry, *m_rows, m_rows->rowOf("Project", textOf(entry, "project_id")),
                     m_rows->rowOf("Task", textOf(entry, "task_id")),
                     [this](TableIndex table, const Key& key, const Cell* cells) {
                         return m_rows->insert(table, cells, m_rows->rowOf("DayEntry", key.text));
                     });
    execute(m_database, "COMMIT");
}

} // namespace bench
