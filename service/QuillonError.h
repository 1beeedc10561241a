#pragma once

#include "model/XmlImport.h"

#include <QByteArray>
#include <QLatin1StringView>
#include <QString>

#include <optional>

#include <tl/expected.hpp>

namespace service {

/// Why a request failed. `localizedDescription` is a sentence for the person.
struct Error
{
    QString domain;
    int code = 0;
    QString localizedDescription;
    QString localizedFailureReason;

    bool operator==(const Error&) const = default;
};

/// How one request ended.
struct Result
{
    bool succeeded = false;
    std::optional<Error> error; ///< of a failure that somebody explained

    operator bool() const { return succeeded; } // NOLINT(google-explicit-constructor): most ask no more
};

/// Errors of the service: code 500 it refused the request, 409 an entry was changed elsewhere meanwhile.
inline constexpr QLatin1StringView QuillonErrorDomain("QuillonForMac");

class QuillonError
{
public:
    QuillonError() = delete;

    /// The error that a document with the root "error" describes, its message freed of markup and line breaks; nothing
    /// for other documents.
    static tl::expected<std::optional<Error>, model::XmlError> parseXml(const QByteArray& body);
};

} // namespace service
