#pragma once

#include <string>

namespace localservice {

/// Why a request was not carried out: the HTTP status, one word for programs and a sentence for people.
struct Problem
{
    int status = 500;
    std::string kind;
    std::string message;
};

} // namespace localservice
