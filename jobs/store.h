#pragma once

#include "base/result.h"
#include "jobs/job.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace jobs {

/// The schedule store, an ini file with one section a job, as it was read.
///
/// A job's name is any text; the section's text is made of it. Letters, digits, blanks between others, `-`,
/// `_`, `.` and all bytes above 127 (so umlauts, too) stand in it as they are, anything else as `%` and two
/// hexadecimal digits in capitals. No name is empty or has a `*` in it, which marks outdated jobs in the
/// window. Whoever asks for a job may name it by either text, and gets the plain name back in Job::name. That
/// is never ambiguous: a job whose name is the text of another one's section cannot be saved.
class Store
{
  public:
    /// Largest store that is read, in bytes.
    static constexpr std::size_t largest = 4 << 20;

    /// Takes what can be taken of a store's text.
    explicit Store(std::string text);

    /// Reads what can be read of a regular file of one name; no link is followed. A file that does not exist
    /// is an empty store.
    static base::Result<Store> read(const std::string& path);

    /// The same, which has nothing to do while the file stays as it is. For all threads.
    static base::Result<std::shared_ptr<const Store>> readCached(const std::string& path);

    /// In the order of the file. A section is a job if it has a frequency and an object.
    const std::vector<Job>& jobs() const { return jobs_; }

    /// The job whose section has that text, else the job of that name; null if there is none.
    const Job* find(std::string_view name) const;
    const Job* findById(std::string_view id) const;

    /// All of the file, bytes that mean nothing too.
    const std::string& text() const { return text_; }

    /// The text with `job` in it: in the place of the one of that name, else at the end. All else stays as it
    /// is, byte for byte. Nothing if the job would not come back from it as it is, if another one would not,
    /// or if the two could be mistaken for each other.
    std::optional<std::string> textWith(const Job& job) const;

    /// The text without the job of that plain name.
    std::string textWithout(std::string_view name) const { return rewritten(name, {}); }

  private:
    struct Heading
    {
        std::string section;
        std::size_t start; ///< in the text
    };

    std::string rewritten(std::string_view name, std::string section) const;
    bool canBeMistaken(const Job& job) const;

    std::string text_;
    std::vector<Heading> headings_;
    std::vector<Job> jobs_;
    std::vector<std::string> jobSections_; ///< of the jobs, in their order
};

} // namespace jobs
