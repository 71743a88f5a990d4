#pragma once

#include "kit/dialogwindow.h"
#include "schedule/background.h"

#include <QIcon>

class ObjectRow;
class ObjectTree;
class QTreeWidgetItem;
class VPushButton;
class __VardoObject;

/// The modal picker of files and directories: a tree of the whole file system with a check mark on every row,
/// which is read as the user opens it. GUI thread only.
class VObjectSelectionDialog : public DialogWindow
{
    Q_OBJECT

  public:
    VObjectSelectionDialog(QWidget* parent, const char* name, bool modal, Qt::WindowFlags flags);
    ~VObjectSelectionDialog() override;

    /// Where the list of chosen objects goes, which the caller then ends with ClearList; null there means
    /// that nothing was chosen. Without a place the scan button does nothing.
    void setReturnObjectPtr(__VardoObject** place);
    /// Lets the scan button read "Add".
    void changeScanCaption();

  public slots:
    /// Starts the tree anew, with "/" opened and nothing checked.
    void initDirView();
    /// Reads the directory if nothing is below its row yet.
    void slotExpanded(QTreeWidgetItem* item);
    void slotCollapsed(QTreeWidgetItem* item);
    /// Turns the check mark of a row over, with all below it, and brings the rows above in line.
    void itemClicked(QTreeWidgetItem* item);
    /// Sets one row: state 1 checked, 2 partly, any other unchecked. A locked row stays as it is.
    void itemCheck(QTreeWidgetItem* item, int state);
    /// Brings the rows above `item`, which has just got `state`, in line with all below them. State 3 makes
    /// them all partly checked.
    void checkParent(QTreeWidgetItem* item, int state);
    /// Hands over what is checked and closes, or tells why there is nothing to hand over. A directory stands
    /// for all below it.
    void scanSelectedItems();
    void languageChange();

  private:
    void buildWidgets();
    void connectWidgets();
    void init();
    void loadPictures();
    const QIcon& pictureOf(const ObjectRow& row) const;
    struct Chosen;
    void handOver(Chosen& chosen);

    [[maybe_unused]] int scanClicked = 0; ///< Nothing reads or writes it.
    __VardoObject** objects = nullptr;    ///< The caller's.
    VPushButton* btnRefresh = nullptr;
    VPushButton* btnScan = nullptr;
    ObjectTree* lstDirView = nullptr;
    Background background{this}; ///< looks at what was checked
    QIcon folderLocked;
    QIcon folderClosedChecked;
    QIcon folderClosedUnchecked;
    QIcon folderClosedTristate;
    QIcon folderOpenChecked;
    QIcon folderOpenUnchecked;
    QIcon folderOpenTristate;
    QIcon fileNormalChecked;
    QIcon fileNormalUnchecked;
};
