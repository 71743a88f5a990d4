#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

namespace vardo {

/// The directories in which nothing is ever touched, by whatever way it is reached: the quarantine.
class ClosedDirectories
{
  public:
    /// Adds a directory, given as an absolute path, which may come into being later.
    void add(std::string path) { paths_.push_back(std::move(path)); }

    /// True when a directory with this status is one of them.
    bool contain(const struct stat& status) const;
    /// True when the directory open as `directory` is one of them or lies below one; nothing when there was
    /// no descriptor to find out with.
    std::optional<bool> hold(int directory) const;

  private:
    std::vector<std::string> paths_;
};

} // namespace vardo
