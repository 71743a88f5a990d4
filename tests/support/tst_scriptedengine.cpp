#include "tests/support/scriptedengine.h"

#include "engine/layout.h"

#include <QTest>

namespace {

using Strings = std::vector<std::string>;

struct Received
{
    Strings lines;
    int stopAt = -1; ///< the call that answers with a stop, from 0
};

int receive(const char* name, int type, int status, const char* virus, const char* remark,
            QS_ResultContextData* context)
{
    auto* received = static_cast<Received*>(context);
    const unsigned int files = scriptedEngine().statistics.scFiles;
    received->lines.push_back(std::string(name) + "|" + std::to_string(type) + "|" + std::to_string(status) +
                              "|" + (virus ? virus : "-") + "|" + (remark ? remark : "-") + "|" +
                              std::to_string(files));
    const bool stop = static_cast<int>(received->lines.size()) - 1 == received->stopAt;
    return stop ? CALLBACK_STOP : CALLBACK_CONTINUE;
}

int chooseRename(const char*, char* actData)
{
    std::snprintf(actData, sizeof(qs_fString), "qst");
    return PROMPT_RENAME;
}

} // namespace

class TestScriptedEngine : public QObject
{
    Q_OBJECT

  private slots:
    void init() { scriptedEngine().reset(); }

    void playsAScan()
    {
        Received received;
        Vardo engine("/x.conf");
        scriptedEngine().scanScript = {
            scripted::directory("/d"), scripted::count([](auto& counters) { counters.scFiles = 1; }),
            scripted::ask("/d/bad"),   scripted::report("/d/bad", SCANSTAT_RENAMED, "Virus", "remark"),
            scripted::beat(),
        };
        QCOMPARE(engine.DoScan(&receive, &received, &chooseRename), 0);
        QCOMPARE(received.lines, Strings({"/d|1|0|-|-|0", "/d/bad|0|128|Virus|remark|1", "|0|0|-|-|1"}));
        QCOMPARE(scriptedEngine().promptAnswers.size(), std::size_t(1));
        QCOMPARE(scriptedEngine().promptAnswers.front().code, int(PROMPT_RENAME));
        QCOMPARE(scriptedEngine().promptAnswers.front().actData, std::string("qst"));
    }

    void stopEndsTheScript()
    {
        Received received;
        received.stopAt = 1;
        Vardo engine("/x.conf");
        scriptedEngine().scanScript = {scripted::report("/1"), scripted::beatUntil([] { return false; }),
                                       scripted::report("/2")};
        QCOMPARE(engine.DoScan(&receive, &received, nullptr), int(SCANRESULT_CANCELLED));
        QCOMPARE(received.lines.size(), std::size_t(2));
    }

    void optionsLiveUntilTheyAreReadAgain()
    {
        Vardo engine("/x.conf");
        unsigned int bits = 0;
        engine.SetScanOption(SCANFLAG_CROSS_FS);
        engine.GetOption(SCANOPT_SCANOPTS, &bits);
        QCOMPARE(bits, unsigned(SCANFLAG_CROSS_FS));
        engine.ReadConfiguration(nullptr);
        engine.GetOption(SCANOPT_SCANOPTS, &bits);
        QCOMPARE(bits, 0u);

        char extensions[sizeof(qs_lString)] = "qst,bak";
        QCOMPARE(engine.SetOption(SCANOPT_EXTENSIONS, extensions), 0);
        engine.SaveConfiguration(nullptr);
        QCOMPARE(scriptedEngine().saved.extensions, std::string("qst,bak"));
    }

    void callsFailOnDemandAndAreNoted()
    {
        Vardo engine("/x.conf");
        scriptedEngine().setResult("SetOption", 3);
        scriptedEngine().setResult("SetOption 12", -1);
        unsigned char off = 0;
        unsigned int days = 30;
        QCOMPARE(engine.SetOption(SCANOPT_ALERT, &off), -1);
        QCOMPARE(engine.SetOption(SCANOPT_ALERTDAYS, &days), 3);
        QCOMPARE(scriptedEngine().held.alert, 1);
        QCOMPARE(scriptedEngine().held.alertDays, 30u);
        engine.LogInit(nullptr, -1);
        LogMe(LOGLEVEL_ALL, "%s %d\n", "line", 1);
        CloseLog();
        LogMe(LOGLEVEL_ALL, "behind the end\n");
        QCOMPARE(scriptedEngine().logText(), std::string("line 1\n"));
        QCOMPARE(scriptedEngine().changes(),
                 Strings({"Vardo /x.conf", "SetOption 12", "SetOption 13", "LogInit (null) -1", "CloseLog"}));
    }

    void listsAreTakenOverAsText()
    {
        auto* list = new VardoObject("/a", Vardo::ScanObjDir);
        list->AddLast("/a/b", Vardo::ScanObjFile);
        Vardo engine("/x.conf");
        engine.SetObjectList(list);
        list->ClearList();
        QCOMPARE(scriptedEngine().objects, Strings({"/a", "/a/b"}));
        QCOMPARE(scriptedEngine().journal().back(), std::string("SetObjectList d:/a f:/a/b"));
    }

    void schedulesAreStored()
    {
        unsigned char hour = 7;
        {
            vSchedule job(nullptr, "/store");
            job.SetOption(SCHEDOPT_HOUR, &hour);
            job.AddObject("/home");
            job.SetScheduleName("nightly");
            QCOMPARE(job.SaveSchedule("/cron", "root", "/store", false), 0);
            QCOMPARE(job.SaveSchedule("/cron", "root", "/store", false), int(SCHEDERR_EXISTS));
        }
        vSchedule again("nightly", "/store");
        QVERIFY(again.ReadConfiguration(nullptr) >= 0);
        hour = 0;
        again.GetOption(SCHEDOPT_HOUR, &hour);
        QCOMPARE(hour, 7);
        VardoObject* list = nullptr;
        QVERIFY(again.GetObjectList(&list) >= 0);
        QCOMPARE(list->objName, "/home");
        list->ClearList();
    }
};

QTEST_GUILESS_MAIN(TestScriptedEngine)
#include "tst_scriptedengine.moc"
