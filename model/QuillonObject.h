#pragma once

#include "model/XmlImport.h"

#include "store/Context.h"
#include "store/Object.h"
#include "store/Predicate.h"

#include <QString>

#include <optional>
#include <utility>
#include <vector>

namespace model {

class Company;

/// What all cached objects have in common.
///
/// Accessors are named after the attributes. A text that the service has not given is a null QString, a moment an
/// invalid QDateTime (else UTC), a truth value false; numbers that may be missing are optional. Setting one of these
/// stores "nothing".
class QuillonObject : public store::Object
{
public:
    /// The service's numeric id in decimal; unique within one account only.
    QString idString() const { return string("idString"); }
    void setIdString(const QString& idString) { setValue("idString", idString); }

    /// What lists show for the object.
    virtual QString displayName() const { return description(); }
    /// For people who look into it.
    virtual QString description() const;

    /// Does nothing, and succeeds.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);

    /// Saves; an error is reported nowhere, so the next import tries again.
    static void saveWithErrorReporting(store::Context& context);

protected:
    QuillonObject() = default;

    std::optional<double> optionalNumber(std::string_view attribute) const;
    void setOptionalNumber(std::string_view attribute, std::optional<double> number);
    /// The value as descriptions show it.
    QString described(std::string_view attribute) const;

    template <class T>
    std::vector<T*> members(std::string_view relationship) const
    {
        std::vector<T*> typed;
        const std::vector<store::Object*> objects = toMany(relationship);
        typed.reserve(objects.size());
        for (store::Object* object : objects)
            typed.push_back(static_cast<T*>(object));
        return typed;
    }
};

/// The first object of `T`'s entity that matches; null: none.
template <class T>
T* fetchFirst(store::Context& context, const store::Predicate& predicate)
{
    return static_cast<T*>(context.fetchFirst(T::entityName, predicate));
}

} // namespace model
