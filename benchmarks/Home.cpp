#include <libsecret/secret.h>

#include "Home.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <sqlite3.h>

namespace bench {

Home::Home(const std::string& servicePort)
{
    std::string pattern = (std::filesystem::temp_directory_path() / "bench-home.XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("no folder");
    m_folder = pattern;
    std::filesystem::create_directories(m_folder + "/config/Quillon");
    std::filesystem::create_directories(m_folder + "/data");
    std::ofstream(m_folder + "/config/Quillon/Quillon.conf")
        << "[General]\nQuillonUrl=" << AccountName << "\nEmail=" << Email << "\nCompany=Large\n";
    std::ofstream(m_folder + "/Info.json")
        << R"({"QuillonLocalDebug": true, "QuillonDevelopmentDomain": ".localhost:)" << servicePort << "\"}\n";
}

Home::~Home()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

std::map<std::string, std::string> Home::environment() const
{
    return {{"XDG_CONFIG_HOME", m_folder + "/config"},
            {"XDG_DATA_HOME", m_folder + "/data"},
            {"QUILLON_INFO", m_folder + "/Info.json"}};
}

int Home::storedEntries() const
{
    sqlite3* database = nullptr;
    int count = -1;
    if (sqlite3_open_v2((m_folder + "/data/Quillon/QuillonX.sqlite").c_str(), &database, SQLITE_OPEN_READONLY,
                        nullptr) == SQLITE_OK) {
        sqlite3_exec(
            database, "SELECT count(*) FROM DayEntry",
            [](void* result, int, char** values, char**) {
                *static_cast<int*>(result) = std::stoi(values[0]);
                return 0;
            },
            &count, nullptr);
    }
    sqlite3_close(database);
    return count;
}

void rememberPassword()
{
    const SecretSchema schema = {"com.wrenfold.quillon",
                                 SECRET_SCHEMA_DONT_MATCH_NAME,
                                 {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                  {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                  {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                 0,
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 nullptr,
                                 nullptr};
    GError* error = nullptr;
    secret_password_store_sync(&schema, SECRET_COLLECTION_DEFAULT, "Quillon: benchmark", Password, nullptr, &error,
                               "service", "com.wrenfold.quillon", "account", Email, nullptr);
    if (error)
        throw std::runtime_error(std::string("no keyring: ") + error->message);
    secret_service_disconnect();
}

} // namespace bench
