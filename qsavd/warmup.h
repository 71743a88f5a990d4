#pragma once

#include <vector>

#include <iconv.h>

namespace qsavd {

/// Has loaded what the libraries would load at first use, which a worker could not do any more.
class Warmth
{
  public:
    Warmth();
    Warmth(const Warmth&) = delete;
    Warmth& operator=(const Warmth&) = delete;
    ~Warmth();

  private:
    std::vector<iconv_t> converters_; ///< a converter stays loaded while it is open
};

} // namespace qsavd
