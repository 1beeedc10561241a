#include "ListImport.h"

namespace model {

tl::expected<void, XmlError> importList(QByteArray utf8, store::Context& context, std::string_view list,
                                        std::string_view item, bool listMayBeLeftOut,
                                        const std::function<void(xml::Element)>& import)
{
    const auto document = xml::Document::parse(std::move(utf8));
    if (!document)
        return tl::unexpected(document.error());
    const xml::Element root = document->root();
    if (root.name() == list) {
        for (xml::Element element = root.child(item); element && !context.isStopped(); element = element.next(item))
            import(element);
    } else if (listMayBeLeftOut && root.name() == item) {
        import(root);
    }
    QuillonObject::saveWithErrorReporting(context);
    return {};
}

} // namespace model
