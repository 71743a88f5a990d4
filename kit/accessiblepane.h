#pragma once

#include <QAccessibleWidget>

#include <vector>

class VTextPane;

/// A text pane as assistive programs read it: a text that cannot be changed. Of a long one it is the part
/// around the rows in view; positions count the characters of that part. GUI thread only.
class AccessiblePane : public QAccessibleWidget, public QAccessibleTextInterface
{
  public:
    explicit AccessiblePane(VTextPane* pane);

    void* interface_cast(QAccessible::InterfaceType type) override;
    QAccessible::State state() const override;
    // The viewport and the scroll bars are no parts of the text.
    int childCount() const override { return 0; }
    QAccessibleInterface* child(int) const override { return nullptr; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }

    int characterCount() const override;
    QString text(int from, int to) const override;
    using QAccessibleWidget::text;
    QRect characterRect(int offset) const override;
    int offsetAtPoint(const QPoint& point) const override;
    void scrollToSubstring(int from, int to) override;
    QString attributes(int offset, int* from, int* to) const override;

    int cursorPosition() const override;
    void setCursorPosition(int position) override;
    int selectionCount() const override;
    void selection(int index, int* from, int* to) const override;
    void addSelection(int from, int to) override { setSelection(0, from, to); }
    void removeSelection(int index) override;
    void setSelection(int index, int from, int to) override;

  private:
    /// The part that is read, with the place of each character, and of the end, in the whole text.
    struct Part
    {
        QString text;
        std::vector<qint64> offsets;
        std::vector<int> rowStarts;
        int firstRow = 0;

        int placeOf(qint64 offset) const;
        qint64 offsetOf(int place) const;
        int rowOf(int place) const; ///< counted from the first one of the part
    };
    Part part() const;
    void select(int from, int to);

    VTextPane* pane_;
};
