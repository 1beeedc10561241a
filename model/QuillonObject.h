#pragma once

#include "model/XmlImport.h"

#include "store/Context.h"
#include "store/Object.h"
#include "store/Predicate.h"

#include <QString>

#include <optional>
#include <vector>

namespace model {

class Company;

/// The common base of all cached objects.
///
/// Accessors are named after the attributes. A string that the service has not given is a null QString, a moment an
/// invalid QDateTime (else UTC), a Boolean false; numbers that may be missing are optional. Setting one of these stores
/// "nothing".
class QuillonObject : public store::Object
{
public:
    /// The service's numeric id in decimal; unique within one account only.
    QString idString() const { return string("idString"); }
    void setIdString(const QString& idString) { setValue("idString", idString); }
    /// The account that the object belongs to. Not set for a company itself.
    Company* company() const { return toOne<Company>("company"); }
    void setCompany(Company* company) { setToOne("company", company); }

    /// What lists show for the object.
    virtual QString displayName() const { return description(); }
    /// For debugging.
    virtual QString description() const;

    /// Does nothing, and succeeds.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);

    /// Saves; errors are not reported, as the next import tries again.
    static void saveWithErrorReporting(store::Context& context);

protected:
    QuillonObject() = default;

    std::optional<double> optionalNumber(std::string_view attribute) const;
    void setOptionalNumber(std::string_view attribute, std::optional<double> number);
    /// The value as descriptions show it.
    QString described(std::string_view attribute) const;

    // Relationships by the class they lead to. For any entity, which need not be defined where they are used.
    template <class T>
    T* toOne(std::string_view relationship) const;
    template <class T>
    void setToOne(std::string_view relationship, T* destination);
    template <class T>
    std::vector<T*> toMany(std::string_view relationship) const;
};

/// The first object of `T`'s entity that matches; null: none.
template <class T>
T* fetchFirst(store::Context& context, const store::Predicate& predicate)
{
    return static_cast<T*>(context.fetchFirst(T::EntityName, predicate));
}

} // namespace model
