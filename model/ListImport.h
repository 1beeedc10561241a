#pragma once

#include "Xml.h"

#include "model/QuillonObject.h"

#include <functional>
#include <string_view>

namespace model {

/// Reads a response whose root `list` holds elements `item`, hands over each and saves once, also when there is none.
/// A root `item` is the single one where `list` may be left out.
tl::expected<void, XmlError> importList(QByteArray utf8, store::Context& context, std::string_view list,
                                        std::string_view item, bool listMayBeLeftOut,
                                        const std::function<void(xml::Element)>& import);

} // namespace model
