#include "sfl/sfl.h"

#include <QtTest>

#include <string>
#include <vector>

#include <sys/stat.h>

using Table = sfl::SymTablePtr;

namespace {

Table emptyTable()
{
    return Table(sym_create_table_("tst_sfl", 0));
}

void put(const Table& table, const std::string& name, const std::string& value)
{
    QVERIFY(sym_assume_symbol_(table.get(), name.c_str(), value.c_str(), "tst_sfl", 0));
}

std::string valueIn(const Table& table, const char* name)
{
    return sym_get_value(table.get(), name, "<none>");
}

std::vector<std::string> namesOf(const Table& table)
{
    std::vector<std::string> names;
    for (const _SYMBOL* symbol = table->symbols; symbol; symbol = symbol->next)
        names.emplace_back(symbol->name);
    return names;
}

} // namespace

class TestSfl : public QObject
{
    Q_OBJECT

  private slots:
    void init()
    {
        dir_ = std::make_unique<QTemporaryDir>();
        load("[plain]\n"); // the last file read has no carriage returns
    }

    /// The other text function is compared with the library's by fuzzing; so is what is saved and read again.
    void trimming()
    {
        std::string text = " \t\n two words \v\r\n";
        QCOMPARE(trim(text.data()), text.data());
        QCOMPARE(text.c_str(), "two words");
        std::string blanks = "  \n ";
        QCOMPARE(trim(blanks.data()), "");
    }

    void tableKeepsNamesAndValues()
    {
        const Table table = emptyTable();
        put(table, "Config:Browsers", "one");
        put(table, "ab", "1"); // the same hash as the next
        put(table, "ba", "2");
        QCOMPARE(table->size, 3);
        QCOMPARE(table->symbols->name, "ba"); // the newest comes first
        QCOMPARE(valueIn(table, "ab"), "1");
        QCOMPARE(valueIn(table, "  Config:Browsers "), "one");
        QCOMPARE(valueIn(table, "config:browsers"), "<none>");
        QVERIFY(!sym_get_value(table.get(), "nothing", nullptr));

        const char* before = sym_get_value(table.get(), "ab", nullptr);
        put(table, "ab", "1");
        QCOMPARE(static_cast<const void*>(sym_get_value(table.get(), "ab", nullptr)), before);
        put(table, "ab", "3");
        QCOMPARE(valueIn(table, "ab"), "3");
        QCOMPARE(table->size, 3);
        sym_delete_table(nullptr);
    }

    void sortingKeepsSectionsTogether()
    {
        const Table table = emptyTable();
        for (const char* name : {"a1:x", "a:y", "a", "a:x", "a b:x", "\xe4:x"})
            put(table, name, "");
        sfl::sortTable(*table);
        const std::vector<std::string> expected = {"a", "a:x", "a:y", "a b:x", "a1:x", "\xe4:x"};
        QCOMPARE(namesOf(table), expected);
        const _SYMBOL* last = table->symbols;
        while (last->next) {
            QCOMPARE(last->next->prev, last);
            last = last->next;
        }
    }

    void values_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("value");
        const auto row = [](const char* line, const char* value) {
            QTest::newRow(line) << QByteArray(line) << QByteArray(value);
        };
        row("key = value ; note", "value");
        row("key = a#b", "a");
        row("\tkey\t=\tvalue\t", "value");
        row("key = \"value ; note\"", "value ; note");
        row("key = \"a\" b", "a");
        row("key = \" a \"  # note", " a ");
        row("key = \"a\\\"b\\\\c\\nd\\(e\\q\"", "a\"b\\c\nd(eq");
        row("key = a\\nb", "a\\nb");
        row("key = \"unclosed", "unclose");
        row("key = \"", "");
        row("key = \"\"", "");
        row("key =", "");
        row("key", "<none>");
        row("!key = traced", "<none>");
        row("; key = comment", "<none>");
        row("key = \"one-\n two\" ; note", "one two");
        row("key = \"one-\n", "one");
        row("key = one-\ntwo", "one-");
        row("key = a=b", "a=b");
        row("key = 1\nKEY = 2", "1");
        row("key = 1\nkey = 2", "2");
        row("key = 1\n\x1akey = 2", "1");
        row("key = 1\x1a 2", "1");
        row("key = cr\r\n", "cr");
    }

    void values()
    {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, value);
        const Table table = load("[s]\n" + line);
        QCOMPARE(QByteArray::fromStdString(valueIn(table, "s:key")), value);
    }

    void sectionsAndKeys()
    {
        const Table table = load("early = 1\n  [open\na = 1\n[]\nb = 2\n[x] y\nc = 3\n]no[\n[\n[]]\nd = 4\n"
                                 "[k=v]\n[last]");
        QCOMPARE(valueIn(table, "open:a"), "1");
        QCOMPARE(valueIn(table, ":b"), "2");
        QCOMPARE(valueIn(table, "x:c"), "3");
        QCOMPARE(valueIn(table, "x:d"), "4");
        QCOMPARE(valueIn(table, "x:[k"), "v]");
        QCOMPARE(valueIn(table, "last"), "");
        QCOMPARE(valueIn(table, "filename"), path());
        const std::vector<std::string> expected = {"",         ":b",   "filedate", "filename",
                                                   "filetime", "last", "open",     "open:a",
                                                   "x",        "x:[k", "x:c",      "x:d"};
        QCOMPARE(namesOf(table), expected);
        QCOMPARE(valueIn(table, "filedate").size(), 8u);
    }

    void longLinesAreCut()
    {
        // 1024 characters are a line of their own; what is beyond them comes as the next line.
        const QByteArray fits = "k=" + QByteArray(1022, 'v');
        QCOMPARE(valueIn(load("[s]\n" + fits + "\nl=1\n"), "s:k").size(), 1022u);
        const Table cut = load("[s]\n" + fits + "l=1\n");
        QCOMPARE(valueIn(cut, "s:k").size(), 1022u);
        QCOMPARE(valueIn(cut, "s:l"), "1");
        const Table joined =
            load("[s]\nk = \"" + QByteArray(1000, 'v') + "-\n" + QByteArray(500, 'w') + "\"\nl=1\n");
        QCOMPARE(valueIn(joined, "s:k").size(), 1022u); // the quote, and the last character, which is none
        QCOMPARE(valueIn(joined, "s:l"), "1");
    }

    void environmentIsSubstituted()
    {
        qputenv("SFL_TEST", "in side");
        qputenv("sfl_small", "small");
        qputenv("SFL_QUOTED", "\"quo\\\"ted\"");
        const Table table =
            load("[s]\na = <$(SFL_TEST)>\nb = $(sfl_test)x\nc = $(SFL_SMALL)\nd = $5 $(SFL_TEST\n"
                 "e = \"$\\(SFL_TEST)\"\nf = $(SFL_QUOTED)\ng = \"$(SFL_TEST);$(NONE_SUCH)\"\n");
        QCOMPARE(valueIn(table, "s:a"), "<in side>");
        QCOMPARE(valueIn(table, "s:b"), "x");
        QCOMPARE(valueIn(table, "s:c"), "small");
        QCOMPARE(valueIn(table, "s:d"), "$5 $(SFL_TEST");
        QCOMPARE(valueIn(table, "s:e"), "$(SFL_TEST)");
        QCOMPARE(valueIn(table, "s:f"), "quo\"ted");
        QCOMPARE(valueIn(table, "s:g"), "in side;");
    }

    void equalNamesAndMissingFiles()
    {
        Table table = emptyTable();
        put(table, "s:key", "mine");
        QCOMPARE(static_cast<void*>(ini_dyn_load(table.get(), path("none").c_str())), table.get());
        QCOMPARE(table->size, 1);
        Table made(ini_dyn_load(nullptr, path("none").c_str()));
        QVERIFY(made && made->size == 0);

        write("[s]\nkey = file\n", "on-path.ini");
        const QByteArray oldPath = qgetenv("PATH");
        qputenv("PATH", "/nowhere:" + dir_->path().toUtf8());
        ini_dyn_load(table.get(), "on-path.ini");
        qputenv("PATH", oldPath);
        QCOMPARE(valueIn(table, "s:key"), "file");
        QCOMPARE(valueIn(table, "filename"), "on-path.ini");
    }

    void saveKeepsOnlyTheHead()
    {
        Table table = load("[Sec]\nKey = a(b\nEmpty =\n[other]\nthe:x=1\n");
        QCOMPARE(ini_dyn_save(table.get(), path().c_str()), 0);
        const QByteArray body =
            "#*END\n\n[Sec]\n    Empty = \"\"\n    Key = \"a\\(b\"\n\n[other:the]\n    x = \"1\"\n"; // by the
                                                                                                     // last
                                                                                                     // colon
        QCOMPARE(read(), body); // no end mark stood there: all of it was replaced

        write("# mine\na\tkey\n [old]\n#*END\n[gone]\nz=1\n");
        QCOMPARE(ini_dyn_save(table.get(), path().c_str()), 0);
        QCOMPARE(read(), "# mine\na       key\n [old]\n" + body);

        QCOMPARE(ini_dyn_save(table.get(), (path("no") + "/dir").c_str()), -1);
    }

    void saveFollowsLineEnds()
    {
        Table table = load("[s]\r\nx=1\r\n");
        QCOMPARE(ini_dyn_save(table.get(), path("new.ini").c_str()), 0); // the file read last had them
        QCOMPARE(read("new.ini"), "#*END\r\n\r\n[s]\r\n    x = \"1\"\r\n");
        write("head\n#*END\n", "unix.ini");
        QCOMPARE(ini_dyn_save(table.get(), path("unix.ini").c_str()), 0);
        QCOMPARE(read("unix.ini"), "head\n#*END\n\n[s]\n    x = \"1\"\n");
    }

    void whatIsNoFileIsNotWaitedFor()
    {
        const std::string fifo = path("fifo");
        QCOMPARE(mkfifo(fifo.c_str(), 0600), 0);
        for (const std::string& name : {fifo, std::string("/")}) {
            const Table table(ini_dyn_load(nullptr, name.c_str()));
            QCOMPARE(table->size, 3);
            QCOMPARE(ini_dyn_save(table.get(), name.c_str()), -1);
        }
        QCOMPARE(ini_dyn_save(emptyTable().get(), "/dev/full"), -1);
    }

  private:
    std::string path(const char* name = "a.ini") const { return (dir_->path() + "/" + name).toStdString(); }

    void write(const QByteArray& text, const char* name = "a.ini")
    {
        QFile file(QString::fromStdString(path(name)));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
    }

    QByteArray read(const char* name = "a.ini") const
    {
        QFile file(QString::fromStdString(path(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : "<unreadable>";
    }

    Table load(const QByteArray& text)
    {
        write(text);
        return Table(ini_dyn_load(nullptr, path().c_str()));
    }

    std::unique_ptr<QTemporaryDir> dir_;
};

QTEST_GUILESS_MAIN(TestSfl)
#include "tst_sfl.moc"
