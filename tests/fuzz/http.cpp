#include "Fuzz.h"

#include "localservice/RequestReader.h"

#include <algorithm>

namespace {

using localservice::RequestReader;
using State = RequestReader::State;

/// What a connection brings in pieces of this size; what is left in `text` belongs to the next request.
State readIn(RequestReader& reader, std::string& text, std::size_t size)
{
    State state = State::Head;
    std::string input;
    for (std::size_t given = 0; given < text.size() && state != State::Complete && state != State::Refused;
         given += size) {
        input += text.substr(given, size);
        state = reader.read(input);
        if (state == State::Complete)
            text.erase(0, std::min(given + size, text.size()) - input.size());
    }
    return state;
}

bool isPlain(std::string_view text, char least)
{
    return std::none_of(text.begin(), text.end(), [&](char c) {
        return c != '\t' && (static_cast<unsigned char>(c) < static_cast<unsigned char>(least) || c == '\x7f');
    });
}

} // namespace

// The bytes of a connection: they make the same request however they arrive, and one that only one reader understands.
void takeIn(std::string_view text)
{
    RequestReader whole, pieces;
    std::string rest(text), restOfPieces(text);
    const State state = readIn(whole, rest, text.size());
    MUST(readIn(pieces, restOfPieces, 1) == state);
    MUST(state != State::Refused || (whole.refusal() >= 400 && whole.refusal() == pieces.refusal()));
    if (state != State::Complete)
        return;
    const auto& request = whole.request();
    MUST(rest == restOfPieces);
    MUST(pieces.request().body == request.body && pieces.request().headers == request.headers);
    MUST(request.target.starts_with('/') && isPlain(request.method + request.target, '!'));
    for (const auto& [name, value] : request.headers)
        MUST(!name.empty() && isPlain(name, '!') && isPlain(value, ' '));
    const auto length = request.header("Content-Length");
    MUST(length.empty() ||
         (request.header("Transfer-Encoding").empty() && std::stoul(std::string(length)) == request.body.size()));
}
