#include "engine/vardo.h"

#include <QtTest>

/// The scan engine object as its callers prepare it.
class TestVardo : public QObject
{
    Q_OBJECT

    QTemporaryDir dir_;

    QByteArray path(const QString& name = {}) const { return QFile::encodeName(dir_.filePath(name)); }
    void configure(const QByteArray& settings) const
    {
        QFile file(path("vardo.conf"));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write("[Log]\n" + settings) > 0);
    }

    /// What one scan logs of a message at each level, below `directory`.
    QByteArray logged(Vardo& engine, const QString& directory) const
    {
        QDir logs(dir_.filePath(directory + "/vardo"));
        logs.removeRecursively();
        if (engine.LogInit(nullptr, -1) < 0)
            return "<none>";
        for (unsigned char level = LOGLEVEL_MINIMUM; level <= LOGLEVEL_ALL; ++level)
            LogMe(level, "%d", level);
        CloseLog();
        QFile log(logs.filePath(logs.entryList({"scan-*.log"}, QDir::Files).value(0)));
        return log.open(QIODevice::ReadOnly) ? log.readAll() : "<elsewhere>";
    }

    static QByteArrayList names(Vardo& engine)
    {
        VardoObject* list = nullptr;
        QByteArrayList names;
        if (engine.GetObjectList(&list) >= 0 && list) {
            for (const VardoObject* object = list; object; object = object->objNext)
                names.append(object->objName);
            list->ClearList();
        }
        return names;
    }

  private slots:
    void logsAreAsConfigured()
    {
        for (const char* directory : {"one", "two"})
            QVERIFY(QDir(dir_.path()).mkpath(directory));
        configure("Location=" + path("one"));
        Vardo engine(path("vardo.conf").constData());
        const std::pair<const char*, const char*> levels[] = {
            {"minimum", "1"}, {"infected", "12"}, {"all", "123"}, {"0", "1"}, {"7", "12"}};
        for (const auto& [word, text] : levels) {
            configure("Level=" + QByteArray(word) + "\nLocation=" + path("one"));
            QCOMPARE(engine.ReadConfiguration(nullptr), 0);
            QCOMPARE(logged(engine, "one"), QByteArray(text));
        }
        // Another location is taken from the next scan on.
        configure("Location=" + path("two"));
        QCOMPARE(logged(engine, "one"), QByteArray("12"));
        QCOMPARE(engine.ReadConfiguration(nullptr), 0);
        QCOMPARE(logged(engine, "two"), QByteArray("12"));
        // One that cannot be written costs the log and nothing else.
        for (const char* location : {"/proc", "/none/such", "/dev/null"}) {
            configure(QByteArray("Location=") + location);
            QCOMPARE(engine.ReadConfiguration(nullptr), 0);
            QCOMPARE(logged(engine, "two"), QByteArray("<none>"));
        }
    }

    void objectsKeepTheirOrder()
    {
        Vardo engine(path("vardo.conf").constData());
        QVERIFY(engine.AddObject("/none/such") < 0);
        QVERIFY(engine.SetObjectList(nullptr) < 0);
        QCOMPARE(engine.AddObject("/usr"), 0);
        auto* list = new VardoObject("/a", Vardo::ScanObjDir);
        VardoObject* last = list;
        constexpr int many = 100'000;
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < many; ++i, last = last->objNext)
            QCOMPARE(last->AddLast(QByteArray::number(i).constData(), Vardo::ScanObjFile), 0);
        QCOMPARE(engine.AddObjectList(list), 0);
        QCOMPARE(engine.AddObject("/"), 0);
        QByteArrayList all = names(engine);
        QVERIFY(timer.elapsed() < 5000); // a walk through the list for each takes longer
        QCOMPARE(all.size(), many + 3);
        QCOMPARE(all.mid(0, 4), QByteArrayList({"/usr", "/a", "0", "1"}));
        QCOMPARE(all.mid(many),
                 QByteArrayList({QByteArray::number(many - 2), QByteArray::number(many - 1), "/"}));

        list->objNext->ClearList();
        list->objNext = nullptr;
        QCOMPARE(engine.SetObjectList(list), 0);
        list->ClearList();
        QCOMPARE(engine.AddObject("/usr"), 0);
        QCOMPARE(names(engine), QByteArrayList({"/a", "/usr"}));
        engine.ClearObjects();
        QCOMPARE(names(engine), QByteArrayList());
        QCOMPARE(engine.AddObject("/"), 0);
        QCOMPARE(names(engine), QByteArrayList{"/"});
    }
};

QTEST_GUILESS_MAIN(TestVardo)
#include "tst_vardo.moc"
