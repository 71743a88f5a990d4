#include "scan/actiondata.h"

#include "engine/vardo.h"

#include <algorithm>
#include <iterator>

void excludeRenamedFiles(Vardo& scanner)
{
    qs_lString extensions = "";
    std::copy(std::begin(renameExtension), std::end(renameExtension), extensions);
    if (scanner.SetOption(SCANOPT_EXTENSIONS, extensions) == 0)
        scanner.SetScanOption(SCANFLAG_EXCLUDE_EXTENSIONS);
}
