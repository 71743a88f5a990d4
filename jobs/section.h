#pragma once

#include "jobs/job.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

/// How a job stands in the store.
namespace jobs {

/// The text of the section for a job of this name.
std::string sectionOf(std::string_view name);

/// The name that a section's text stands for. A `%` without two hexadecimal digits stands for itself.
std::string nameOf(std::string_view section);

/// The values of a section's keys.
using Values = std::map<std::string, std::string, std::less<>>;

/// The job that the section holds, if it has a frequency and an object. What else is missing or makes no
/// sense has its default.
std::optional<Job> jobOf(std::string_view section, const Values& values);

/// The lines of the job's section; nothing if they would be too long.
std::optional<std::string> sectionText(const Job& job);

} // namespace jobs
