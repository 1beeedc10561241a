#pragma once

#include "../Http.h"
#include "Form.h"

#include <string>
#include <string_view>

namespace localservice {

/// A form with a file in it (multipart/form-data, RFC 7578).
struct Upload
{
    Form fields;
    std::string name;      ///< the file's; empty when there is none
    std::string_view file; ///< its bytes, within the request
};

/// Whether a form was sent in that encoding.
bool isUpload(const Request& request);
/// What does not fit the encoding is left out.
Upload readUpload(const Request& request);

} // namespace localservice
