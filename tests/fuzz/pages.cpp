#include "Office.h"

namespace {

/// Within texts and values every bracket and quotation mark is escaped, and no element is one of the sender's.
bool isEscaped(std::string_view html)
{
    bool inTag = false;
    bool inValue = false;
    for (const char c : html) {
        if (inValue ? c == '<' || c == '>' || c == '\'' : inTag ? c == '<' : c == '>' || c == '"' || c == '\'')
            return false;
        inValue = c == '"' ? !inValue : inValue;
        inTag = inValue || (c == '<' || (inTag && c != '>'));
    }
    return !inTag && html.find("<q") == std::string_view::npos;
}

std::string_view between(std::string_view text, std::string_view start, char end)
{
    const auto from = text.find(start);
    MUST(from != std::string_view::npos);
    text.remove_prefix(from + start.size());
    return text.substr(0, text.find(end));
}

std::string header(const localservice::Reply& reply, std::string_view wanted)
{
    const auto found = std::find_if(reply.headers.begin(), reply.headers.end(),
                                    [&](const auto& header) { return header.first == wanted; });
    return found == reply.headers.end() ? std::string() : found->second;
}

/// An administrator's browser.
struct Browser
{
    Office office;
    std::string cookie;
    std::string token;

    Browser()
    {
        const auto entered = answer("POST /sign-in\nemail=ann@office.example&password=" + office.password());
        const auto given = header(entered, "Set-Cookie");
        cookie = given.substr(0, given.find(';'));
        token = between(answer("GET /account").body, "name=\"token\" value=\"", '"');
        office.keep();
    }

    localservice::Reply answer(std::string_view text)
    {
        auto request = Office::request(text);
        request.headers.insert(request.headers.end(), {{"Accept", "text/html"}, {"Cookie", cookie}});
        request.body += token.empty() ? std::string() : "&token=" + token;
        auto reply = office.answer(request);
        MUST(reply.status >= 200 && reply.status < 500);
        if (header(reply, "Content-Type").starts_with("text/html"))
            MUST(isEscaped(reply.body));
        return reply;
    }
};

} // namespace

// Pages and forms in a browser that is signed in, and the page that it is sent on to.
void takeIn(std::string_view text)
{
    static Browser browser;
    const auto target = header(browser.answer(text), "Location");
    if (!target.empty()) {
        MUST(target.starts_with('/') && !target.starts_with("//"));
        browser.answer("GET " + target);
    }
    browser.office.setBack();
}
