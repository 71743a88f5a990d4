#include <QAbstractButton>
#include <QApplication>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLocalServer>
#include <QLocalSocket>
#include <QTextDocument>
#include <QTextDocumentFragment>
#include <QTreeWidget>
#include <QWindow>
#include <QtGui/qgenericplugin.h>

namespace {

/// Not mapToGlobal: the platform's window may still believe to be where it was made.
QPoint onScreen(const QWidget* widget, QPoint point)
{
    return widget->window()->geometry().topLeft() + widget->mapTo(widget->window(), point);
}

QJsonArray onScreen(const QWidget* widget, const QRect& rect)
{
    const QPoint corner = onScreen(widget, rect.topLeft());
    return {corner.x(), corner.y(), rect.width(), rect.height()};
}

/// As it is shown: without the tags of rich text.
QString textOf(const QWidget* widget)
{
    if (const auto* label = qobject_cast<const QLabel*>(widget);
        label && label->textFormat() != Qt::PlainText && Qt::mightBeRichText(label->text()))
        return QTextDocumentFragment::fromHtml(label->text()).toPlainText();
    for (const char* property : {"text", "currentText", "title"})
        if (const QVariant value = widget->property(property); value.isValid())
            return value.toString();
    return {};
}

/// True when a click on its middle gets to the widget.
bool isReachable(QWidget* widget)
{
    const QWindow* window = widget->window()->windowHandle();
    if (!window || !window->isExposed() || !widget->isEnabled())
        return false;
    const QWidget* modal = QApplication::activeModalWidget();
    const bool blocked =
        modal && modal != widget->window() && modal->windowModality() == Qt::ApplicationModal;
    const QPoint middle = widget->rect().center();
    const QWidget* hit = widget->window()->childAt(widget->mapTo(widget->window(), middle));
    return !blocked && QApplication::topLevelAt(onScreen(widget, middle)) == widget->window() &&
           (widget->isWindow() || hit == widget || widget->isAncestorOf(hit));
}

/// The rows of the list that are in view, with the place of their first column.
QJsonArray rowsOf(const QTreeWidget* list)
{
    QJsonArray rows;
    for (QTreeWidgetItem* item = list->itemAt(1, 1); item; item = list->itemBelow(item)) {
        const QRect place = list->visualRect(list->indexFromItem(item, list->header()->logicalIndex(0)));
        if (place.top() > list->viewport()->height())
            break;
        QJsonArray texts;
        for (int column = 0; column < list->columnCount(); ++column)
            texts.append(item->text(column));
        rows.append(QJsonObject{{"texts", texts}, {"rect", onScreen(list->viewport(), place)}});
    }
    return rows;
}

QJsonObject describe(QWidget* widget)
{
    QJsonObject object{{"window", widget->window()->objectName()},   {"name", widget->objectName()},
                       {"class", widget->metaObject()->className()}, {"text", textOf(widget)},
                       {"rect", onScreen(widget, widget->rect())},   {"reachable", isReachable(widget)}};
    if (const auto* button = qobject_cast<QAbstractButton*>(widget))
        object["checked"] = button->isChecked();
    if (const auto* list = qobject_cast<QTreeWidget*>(widget))
        object["rows"] = rowsOf(list);
    return object;
}

QByteArray visibleWidgets()
{
    QJsonArray widgets;
    for (QWidget* widget : QApplication::allWidgets())
        if (widget->isVisible())
            widgets.append(describe(widget));
    return QJsonDocument(widgets).toJson(QJsonDocument::Compact);
}

/// Answers, on the event loop of the program that has loaded it, what can be seen of its windows. One request
/// a line, one answer a line: "widgets"; anything else comes back.
class Probe : public QObject
{
  public:
    explicit Probe(const QString& socket)
    {
        connect(&server_, &QLocalServer::newConnection, this, [this] {
            QLocalSocket* client = server_.nextPendingConnection();
            connect(client, &QLocalSocket::readyRead, this, [client] {
                while (client->canReadLine())
                    client->write(answer(client->readLine().trimmed()) + '\n');
                client->flush();
            });
        });
        if (!server_.listen(socket))
            qFatal("the probe cannot listen at %s", qPrintable(socket));
    }

  private:
    static QByteArray answer(const QByteArray& request)
    {
        if (request == "widgets")
            return visibleWidgets();
        return request;
    }

    QLocalServer server_;
};

} // namespace

class ProbePlugin : public QGenericPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "windowprobe.json")

  public:
    QObject* create(const QString&, const QString& socket) override { return new Probe(socket); }
};

#include "windowprobe.moc"
