#include "engine/schedule.h"
#include "engine/vardo.h"

#include <QtTest>

/// The lists of objects that callers prepare and the engine keeps.
class TestVardo : public QObject
{
    Q_OBJECT

    static QByteArrayList names(const VardoObject* list)
    {
        QByteArrayList names;
        for (const VardoObject* object = list; object; object = object->objNext)
            names.append(object->objName);
        return names;
    }
    static QByteArrayList names(Vardo& engine)
    {
        VardoObject* list = nullptr;
        if (engine.GetObjectList(&list) < 0 || !list)
            return {};
        const QByteArrayList all = names(list);
        list->ClearList();
        return all;
    }

  private slots:
    void objectsKeepTheirOrder()
    {
        Vardo engine("/none");
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
        const QByteArrayList all = names(engine);
        QVERIFY(timer.elapsed() < 5000); // a walk through the list for each takes longer
        QCOMPARE(all.size(), many + 3);
        QCOMPARE(all.mid(0, 4), QByteArrayList({"/usr", "/a", "0", "1"}));
        QCOMPARE(all.mid(many + 1), QByteArrayList({QByteArray::number(many - 1), "/"}));

        QCOMPARE(engine.SetObjectList(list), 0);
        list->ClearList();
        QCOMPARE(names(engine).size(), many + 1);
        engine.ClearObjects();
        QCOMPARE(engine.AddObject("/"), 0);
        QCOMPARE(names(engine), QByteArrayList{"/"});
    }

    void listsAreCopied()
    {
        auto* list = new VardoObject("/a", Vardo::ScanObjDir);
        QCOMPARE(list->AddLast("/b", Vardo::ScanObjFile), 0);
        QCOMPARE(list->AddList(list), 0);
        auto* copy = new VardoObject("/old", 0);
        QCOMPARE(copy->AddLast("/gone", 0), 0);
        QCOMPARE(copy->CopyList(list), 0);
        list->ClearList();
        QCOMPARE(names(copy), QByteArrayList({"/a", "/b", "/a", "/b"}));
        QCOMPARE(copy->objNext->objType, int{Vardo::ScanObjFile});
        copy->ClearList();

        vSchedule job(nullptr, "/none");
        VardoObject* objects = nullptr;
        QVERIFY(job.GetObjectList(&objects) >= 0 && !objects);
        QCOMPARE(job.AddObject("/"), 0);
        QVERIFY(job.GetObjectList(&objects) >= 0 && objects);
        job.ClearObjectList();
        QCOMPARE(names(objects), QByteArrayList{"/"});
        objects->ClearList();
    }
};

QTEST_GUILESS_MAIN(TestVardo)
#include "tst_vardo.moc"
