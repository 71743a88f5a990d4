#pragma once

#include "kit/texts.h"

#include <array>
#include <span>

class QComboBox;
class QGridLayout;
class QWidget;
class VCheckBox;

/// One choice of what to do about an infected object.
struct ScanAction
{
    const char* text;
    unsigned int action;    ///< a SCANACT_ code
    unsigned int disinfect; ///< SCANFLAG_DISINFECT or SCANFLAG_NO_DISINFECT
};

/// Puts their texts into `combo`, in the place of those that it has.
void setActions(Translate tr, QComboBox* combo, std::span<const ScanAction> choices);

/// The place among `choices` of an action with these SCANFLAG_ bits; one that is not there counts as
/// quarantine, which must be.
int indexOfAction(std::span<const ScanAction> choices, unsigned int action, unsigned int flags);

/// What is scanned, as check boxes: the same on the page of the scan settings and in the schedule editor,
/// which both inherit them.
struct ScanOptionBoxes
{
    /// Makes the boxes below `parent`, in the first three rows and columns of `grid`, with the choice of a
    /// new installation.
    void buildScanOptions(QWidget* parent, QGridLayout* grid);
    void setScanOptionTexts(Translate tr);

    /// Checks the boxes by the SCANFLAG_ bits.
    void showScanOptions(unsigned int flags);
    /// The bits that the boxes stand for; none else.
    unsigned int scanOptions() const;

    std::array<VCheckBox*, 7> scanOptionBoxes() const;

    VCheckBox* chkArchive = nullptr;
    VCheckBox* chkPack = nullptr;
    VCheckBox* chkHeuristic = nullptr;
    VCheckBox* chkSymLink = nullptr;
    VCheckBox* chkMail = nullptr;
    VCheckBox* chkCrossFS = nullptr;
    VCheckBox* chkRecursive = nullptr;
};
