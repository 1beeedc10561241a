#include "QuillonObject.h"

using namespace Qt::StringLiterals;

namespace model {

QString QuillonObject::description() const
{
    return u"%1 | ID: %2"_s.arg(QString::fromStdString(entity().name), described("idString"));
}

tl::expected<void, XmlError> QuillonObject::parseXml(QByteArray, Company&, store::Context&)
{
    return {};
}

void QuillonObject::saveWithErrorReporting(store::Context& context)
{
    // There is nobody to tell: the cache is filled again by the next refresh.
    static_cast<void>(context.save());
}

std::optional<double> QuillonObject::optionalNumber(std::string_view attribute) const
{
    if (store::isNull(value(attribute)))
        return std::nullopt;
    return number(attribute);
}

void QuillonObject::setOptionalNumber(std::string_view attribute, std::optional<double> number)
{
    setValue(attribute, number ? store::Value(*number) : store::Value());
}

QString QuillonObject::described(std::string_view attribute) const
{
    const store::Value& described = value(attribute);
    if (store::isNull(described))
        return u"(null)"_s;
    if (const auto* text = std::get_if<QString>(&described))
        return *text;
    return QString::number(number(attribute), 'g', 16);
}

} // namespace model
