#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace localservice {

/// A file that pages link to. Its name begins with a digest of its content, so browsers may keep it for ever.
struct Asset
{
    std::string name;
    std::string content;
};

const std::vector<Asset>& assets();

/// The path of the asset with this name: "/assets/0123456789ab-style.css".
std::string assetPath(std::string_view name);

} // namespace localservice
