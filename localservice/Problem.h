#pragma once

#include <string>

namespace localservice {

/// Why a request was not carried out: the HTTP status, one word for programs, a sentence for people, and the form field
/// it is about, if any.
struct Problem
{
    int status = 500;
    std::string kind;
    std::string message;
    std::string field = {};
};

} // namespace localservice
