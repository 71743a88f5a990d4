#pragma once

#include "tools/vardoquarantine/store.h"

#include <string>

/// Prints what was found and done, as lines of text or of JSON on the standard output, and failures on the
/// standard error.
class Output
{
  public:
    explicit Output(bool json)
        : json_(json)
    {
    }

    /// One thing in the quarantine, and whether it is as it should be.
    void item(const Item& item, bool matches);
    /// What the items come to.
    void summary() const;

    void restored(const std::string& name, const std::string& path) const;
    void deleted(const std::string& name) const;
    void repair(const Repair& repair) const;
    /// Of the file `name`, or of the whole task without one.
    void failure(const std::string& name, const std::string& text) const;

  private:
    const bool json_;
    unsigned long items_ = 0;
    unsigned long mismatches_ = 0;
};
