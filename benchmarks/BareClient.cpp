#include "BareClient.h"

#include "Home.h"

#include <curl/curl.h>

#include <stdexcept>

namespace bench {

BareClient::BareClient(const std::string& port)
    : m_base("http://" + std::string(AccountName) + ".localhost:" + port), m_easy(curl_easy_init())
{
    const std::string credentials = std::string(Email) + ':' + Password;
    curl_easy_setopt(m_easy, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(m_easy, CURLOPT_USERPWD, credentials.c_str());
    curl_easy_setopt(m_easy, CURLOPT_PROXY, "");
    // A change that goes over a kept connection may be sent twice: the library repeats it when that has just ended.
    curl_easy_setopt(m_easy, CURLOPT_FRESH_CONNECT, 1L);
    using Write = size_t (*)(char*, size_t, size_t, void*);
    curl_easy_setopt(m_easy, CURLOPT_WRITEFUNCTION,
                     static_cast<Write>([](char* data, size_t, size_t size, void* where) {
                         static_cast<std::string*>(where)->append(data, size);
                         return size;
                     }));
}

BareClient::~BareClient()
{
    curl_easy_cleanup(m_easy);
}

std::string BareClient::send(const std::string& path, const std::optional<std::string>& body)
{
    std::string reply;
    curl_easy_setopt(m_easy, CURLOPT_URL, (m_base + path).c_str());
    curl_easy_setopt(m_easy, CURLOPT_WRITEDATA, &reply);
    if (body) {
        curl_easy_setopt(m_easy, CURLOPT_POSTFIELDS, body->c_str());
        curl_easy_setopt(m_easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
    } else {
        curl_easy_setopt(m_easy, CURLOPT_HTTPGET, 1L);
    }
    long status = 0;
    if (const CURLcode code = curl_easy_perform(m_easy); code != CURLE_OK)
        throw std::runtime_error(curl_easy_strerror(code));
    curl_easy_getinfo(m_easy, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200)
        throw std::runtime_error("the service answered " + std::to_string(status) + ": " + reply);
    return reply;
}

} // namespace bench
