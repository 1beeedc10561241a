#pragma once

#include <QByteArray>
#include <QString>

#include <tl/expected.hpp>

namespace store {
class Context;
}

namespace model {

class Company;

/// Why a document cannot be read. For debugging; never shown.
struct XmlError
{
    QString text;
};

/// Imports one response of the service into the company's objects of `context` and saves. The class method `parseXml`
/// of every entity class. On an error, and once the context is stopped, nothing has changed. Frees `utf8` before
/// anything is made of it: moved in, it is gone by then. Any thread, that of the context.
using XmlImport = tl::expected<void, XmlError> (*)(QByteArray utf8, Company& company, store::Context& context);

} // namespace model
