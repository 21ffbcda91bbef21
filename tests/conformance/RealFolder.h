#pragma once

#include <filesystem>
#include <string>

#include "testing/TemporaryFolder.h"

namespace kelo {

/// A folder on disk: the base of harnesses for a `FileEvents` that watches real files.
class RealFolder {
public:
    std::string path(const std::string& name) const { return (folder_ / name).string(); }
    void write(const std::string& name, const std::string& text) const { writeFile(folder_ / name, text); }
    void rename(const std::string& from, const std::string& to) const {
        std::filesystem::rename(folder_ / from, folder_ / to);
    }
    void remove(const std::string& name) const { std::filesystem::remove(folder_ / name); }
    void hardLink(const std::string& from, const std::string& to) const {
        std::filesystem::create_hard_link(folder_ / from, folder_ / to);
    }
    void symbolicLink(const std::string& from, const std::string& to) const {
        std::filesystem::create_symlink(folder_ / from, folder_ / to);
    }

private:
    TemporaryFolder folder_;
};

} // namespace kelo
