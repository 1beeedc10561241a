// bench-pages PORT PROCESS
//
// Measures the pages of the service, which has that process number, with the time of many years: how long each takes,
// when the first bytes of the largest file come, and how much memory all of that takes.
#include "Home.h"
#include "Report.h"

#include <algorithm>
#include <cstdio>
#include <curl/curl.h>
#include <fstream>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using namespace bench;

constexpr int Repeats = 15;

/// Milliseconds until the first byte of a reply and until its last one, and how long the reply is.
struct Took
{
    double first = 0;
    double all = 0;
    double size = 0;
};

/// Somebody who is signed in.
class Browser
{
public:
    explicit Browser(const char* port) : m_url(std::string("http://") + AccountName + ".localhost:" + port)
    {
        m_headers = curl_slist_append(m_headers, "Accept: text/html");
        m_headers = curl_slist_append(m_headers, ("Origin: " + m_url).c_str());
        curl_easy_setopt(m_curl, CURLOPT_HTTPHEADER, m_headers);
        curl_easy_setopt(m_curl, CURLOPT_COOKIEFILE, "");
        curl_easy_setopt(
            m_curl, CURLOPT_WRITEFUNCTION, +[](char*, size_t, size_t count, void*) { return count; });
        char* email = curl_easy_escape(m_curl, Email, 0);
        char* password = curl_easy_escape(m_curl, Password, 0);
        const auto form = text("email=%s&password=%s&to=%%2Fdaily", email, password);
        curl_free(email);
        curl_free(password);
        curl_easy_setopt(m_curl, CURLOPT_POSTFIELDS, form.c_str());
        load("/sign-in", 303);
        curl_easy_setopt(m_curl, CURLOPT_HTTPGET, 1L);
    }
    ~Browser()
    {
        curl_easy_cleanup(m_curl);
        curl_slist_free_all(m_headers);
    }
    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    Took load(const std::string& target, long expected = 200)
    {
        curl_easy_setopt(m_curl, CURLOPT_URL, (m_url + target).c_str());
        long status = 0;
        Took took;
        if (curl_easy_perform(m_curl) == CURLE_OK)
            curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &status);
        if (status != expected)
            throw std::runtime_error(text("%s: status %ld", target.c_str(), status));
        curl_off_t size = 0;
        curl_easy_getinfo(m_curl, CURLINFO_STARTTRANSFER_TIME, &took.first);
        curl_easy_getinfo(m_curl, CURLINFO_TOTAL_TIME, &took.all);
        curl_easy_getinfo(m_curl, CURLINFO_SIZE_DOWNLOAD_T, &size);
        return {took.first * 1000, took.all * 1000, static_cast<double>(size)};
    }

private:
    CURL* const m_curl = curl_easy_init();
    curl_slist* m_headers = nullptr;
    const std::string m_url;
};

/// The most memory that the process ever had.
double megabytesOf(const std::string& process)
{
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:"))
            return std::stod(line.substr(6)) / 1024;
    }
    return 0;
}

/// Processor milliseconds that the process has used: what a page would take on an idle machine, and on a busy one, too.
double millisecondsOf(const std::string& process)
{
    std::ifstream file("/proc/" + process + "/stat");
    std::string skipped;
    std::getline(file, skipped, ')');
    for (int i = 0; i < 11; ++i)
        file >> skipped;
    double user = 0;
    double system = 0;
    file >> user >> system;
    return (user + system) * 1000 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

void measure(const char* port, const std::string& service)
{
    Browser browser(port);
    const std::string ever = "from=2000-01-01&to=2099-12-31";
    for (const std::string target :
         {"/daily", "/projects", "/projects/1", "/projects/new", "/clients/1", "/tasks", "/tasks/1", "/people",
          "/people/1", "/account", "/reports", "/reports?from=2025-01-01&to=2025-12-31",
          "/reports?from=2000-01-01&to=2099-12-31"}) {
        std::vector<double> times;
        auto took = browser.load(target);
        const double before = millisecondsOf(service);
        for (int i = 0; i < Repeats; ++i)
            times.push_back(browser.load(target).all);
        report(target.substr(0, 44), (millisecondsOf(service) - before) / Repeats, "ms", {100, 50},
               text("of the processor; came in %.1f ms, worst %.1f; %.0f KiB", median(times), largest(times),
                    took.size / 1024));
    }
    const double before = megabytesOf(service);
    const auto file = browser.load("/reports.csv?" + ever);
    report("first bytes of a file of all entries", file.first, "ms", {100, 20},
           text("all %.1f MiB of it after %.0f ms", file.size / 1048576, file.all));
    report("memory of the service at its most", megabytesOf(service), "MiB", {80, 40},
           text("%.1f before the file", before));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fputs("usage: bench-pages PORT PROCESS\n", stderr);
        return 64;
    }
    try {
        measure(argv[1], argv[2]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench-pages: %s\n", failure.what());
        return 1;
    }
    return 0;
}
