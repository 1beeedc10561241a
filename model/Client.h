#pragma once

#include "model/QuillonObject.h"

namespace model {

class Project;

/// A customer of the account; projects are grouped by it.
class Client final : public QuillonObject
{
public:
    static constexpr const char* EntityName = "Client";

    QString name() const { return string("name"); }
    void setName(const QString& name) { setValue("name", name); }
    std::vector<Project*> projects() const { return toMany<Project>("projects"); }

    /// A "clients" list. Clients missing from it stay unchanged.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
};

} // namespace model
