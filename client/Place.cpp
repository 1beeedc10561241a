#include "Place.h"

#include <array>

#include <unistd.h>

namespace client {

std::string fileOfProgram(const char* name)
{
    std::array<char, 4096> self{};
    const ssize_t length = readlink("/proc/self/exe", self.data(), self.size());
    std::string folder(self.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    folder.erase(folder.rfind('/') + 1);
    const std::string beside = folder + name;
    return access(beside.c_str(), R_OK) == 0 ? beside : folder + QUILLON_HELPER_FOLDER "/" + name;
}

} // namespace client
