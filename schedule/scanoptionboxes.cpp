#include "schedule/scanoptionboxes.h"

#include "engine/interface.h"
#include "kit/builders.h"
#include "kit/vcheckbox.h"

#include <QComboBox>
#include <QGridLayout>

#include <algorithm>
#include <iterator>

namespace {

struct ScanOption
{
    VCheckBox* ScanOptionBoxes::*box;
    const char* name;
    const char* text;
    unsigned int bit;
    bool setWhenOn; ///< of the bit; the engine's words say of most options that they are off
    bool onAtFirst;
    int row, column;
};

using Boxes = ScanOptionBoxes;
constexpr ScanOption options[] = {
    {&Boxes::chkRecursive, "chkRecursive", "Include Sub-directory", SCANFLAG_NO_RECURSE, false, true, 0, 0},
    {&Boxes::chkMail, "chkMail", "Mails", SCANFLAG_NO_MAILS, false, true, 0, 1},
    {&Boxes::chkHeuristic, "chkHeuristic", "Heuristic", SCANFLAG_NO_HEURISTIC, false, true, 0, 2},
    {&Boxes::chkCrossFS, "chkCrossFS", "Cross file system", SCANFLAG_CROSS_FS, true, false, 1, 0},
    {&Boxes::chkArchive, "chkArchive", "Archives", SCANFLAG_NO_ARCHIVES, false, true, 1, 1},
    {&Boxes::chkPack, "chkPack", "Packed", SCANFLAG_NO_PACKED, false, true, 1, 2},
    {&Boxes::chkSymLink, "chkSymLink", "Follow symbolic links", SCANFLAG_FOLLOW_SYMLINKS, true, false, 2, 0},
};

} // namespace

void setActions(Translate tr, QComboBox* combo, std::span<const ScanAction> choices)
{
    combo->clear();
    for (const ScanAction& choice : choices)
        combo->addItem(tr(choice.text, nullptr, -1));
}

int indexOfAction(std::span<const ScanAction> choices, unsigned int action, unsigned int flags)
{
    const unsigned int disinfect = flags & SCANFLAG_DISINFECT ? SCANFLAG_DISINFECT : SCANFLAG_NO_DISINFECT;
    const auto find = [&](unsigned int wanted) {
        return std::find_if(choices.begin(), choices.end(), [&](const ScanAction& choice) {
            return choice.action == wanted && choice.disinfect == disinfect;
        });
    };
    auto found = find(action);
    if (found == choices.end())
        found = find(SCANACT_QUARANTINE);
    return static_cast<int>(found - choices.begin());
}

void ScanOptionBoxes::buildScanOptions(QWidget* parent, QGridLayout* grid)
{
    for (const ScanOption& option : options) {
        this->*option.box = build::checkBox(parent, option.name, option.onAtFirst);
        grid->addWidget(this->*option.box, option.row, option.column);
    }
}

void ScanOptionBoxes::setScanOptionTexts(Translate tr)
{
    for (const ScanOption& option : options)
        setTexts(tr, {{this->*option.box, option.text}});
}

void ScanOptionBoxes::showScanOptions(unsigned int flags)
{
    for (const ScanOption& option : options)
        (this->*option.box)->setChecked(((flags & option.bit) != 0) == option.setWhenOn);
}

unsigned int ScanOptionBoxes::scanOptions() const
{
    unsigned int flags = 0;
    for (const ScanOption& option : options) {
        if ((this->*option.box)->isChecked() == option.setWhenOn)
            flags |= option.bit;
    }
    return flags;
}

std::array<VCheckBox*, 7> ScanOptionBoxes::scanOptionBoxes() const
{
    std::array<VCheckBox*, std::size(options)> boxes{};
    std::transform(std::begin(options), std::end(options), boxes.begin(),
                   [this](const ScanOption& option) { return this->*option.box; });
    return boxes;
}
