#pragma once

#include "kit/texts.h"

#include <array>

class QGridLayout;
class QWidget;
class VCheckBox;

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
