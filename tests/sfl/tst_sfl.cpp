#include "sfl/sfl.h"

#include <QtTest>

#include <map>
#include <random>
#include <string>
#include <vector>

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
    void init();
    void textFunctions();
    void searchFindsWhatAPlainSearchFinds();
    void tableKeepsNamesAndValues();
    void sortingKeepsSectionsTogether();
    void values_data();
    void values();
    void sectionsAndKeys();
    void longLinesAreCut();
    void environmentIsSubstituted();
    void equalNamesAndMissingFiles();
    void saveKeepsOnlyTheHead();
    void saveFollowsLineEnds();
    void anythingSavedIsReadBack();
    void hostileInputIsSurvived();

  private:
    std::string path(const char* name = "a.ini") const { return (dir_->path() + "/" + name).toStdString(); }
    void write(const QByteArray& text, const char* name = "a.ini");
    QByteArray read(const char* name = "a.ini") const;
    Table load(const QByteArray& text);

    std::unique_ptr<QTemporaryDir> dir_;
};

void TestSfl::init()
{
    dir_ = std::make_unique<QTemporaryDir>();
    load("[plain]\n"); // the last file read has no carriage returns
}

void TestSfl::write(const QByteArray& text, const char* name)
{
    QFile file(QString::fromStdString(path(name)));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text) == text.size());
}

QByteArray TestSfl::read(const char* name) const
{
    QFile file(QString::fromStdString(path(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "<unreadable>";
}

Table TestSfl::load(const QByteArray& text)
{
    write(text);
    return Table(ini_dyn_load(nullptr, path().c_str()));
}

void TestSfl::textFunctions()
{
    std::string text = " \t\n two words \v\r\n";
    QCOMPARE(trim(text.data()), text.data());
    QCOMPARE(text.c_str(), "two words");
    std::string blanks = "  \n ";
    QCOMPARE(trim(blanks.data()), "");
    std::string bytes = " \xe9\x80 ";
    QCOMPARE(trim(bytes.data()), "\xe9\x80");

    std::string hay = "abcabd";
    QCOMPARE(strfind_r(hay.data(), ""), hay.data());
    QCOMPARE(strfind_r(hay.data(), "abd"), hay.data() + 3);
    QVERIFY(!strfind_r(hay.data(), "abcabda"));
}

void TestSfl::searchFindsWhatAPlainSearchFinds()
{
    std::mt19937 random(7);
    const auto word = [&](unsigned longest) {
        std::string made(random() % (longest + 1), ' ');
        for (char& c : made)
            c = "ab\xff"[random() % 3];
        return made;
    };
    for (int i = 0; i < 20000; ++i) {
        std::string hay = word(12);
        const std::string needle = word(4);
        const char* found = strfind_r(hay.data(), needle.c_str());
        const std::size_t expected = hay.find(needle);
        QCOMPARE(found ? static_cast<std::size_t>(found - hay.data()) : std::string::npos, expected);
    }
}

void TestSfl::tableKeepsNamesAndValues()
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

void TestSfl::sortingKeepsSectionsTogether()
{
    const Table table = emptyTable();
    for (const char* name : {"a1:x", "a:y", "a", "a:x", "a b:x", "\xe4:x"})
        put(table, name, "");
    sfl::sortTable(*table);
    const std::vector<std::string> expected = {"a", "a:x", "a:y", "a b:x", "a1:x", "\xe4:x"};
    QCOMPARE(namesOf(table), expected);
    const _SYMBOL* last = table->symbols;
    while (last->next)
        last = last->next;
    for (std::size_t i = expected.size(); i-- > 0; last = last->prev)
        QCOMPARE(last->name, expected[i].c_str());
}

void TestSfl::values_data()
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

void TestSfl::values()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, value);
    const Table table = load("[s]\n" + line);
    QCOMPARE(QByteArray::fromStdString(valueIn(table, "s:key")), value);
}

void TestSfl::sectionsAndKeys()
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
    const std::vector<std::string> expected = {"",     ":b",     "filedate", "filename", "filetime", "last",
                                               "open", "open:a", "x",        "x:[k",     "x:c",      "x:d"};
    QCOMPARE(namesOf(table), expected);
    QCOMPARE(valueIn(table, "filedate").size(), 8u);
}

void TestSfl::longLinesAreCut()
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

void TestSfl::environmentIsSubstituted()
{
    qputenv("SFL_TEST", "in side");
    qputenv("sfl_small", "small");
    qputenv("SFL_QUOTED", "\"quo\\\"ted\"");
    const Table table = load("[s]\na = <$(SFL_TEST)>\nb = $(sfl_test)x\nc = $(SFL_SMALL)\nd = $5 $(SFL_TEST\n"
                             "e = \"$\\(SFL_TEST)\"\nf = $(SFL_QUOTED)\ng = \"$(SFL_TEST);$(NONE_SUCH)\"\n");
    QCOMPARE(valueIn(table, "s:a"), "<in side>");
    QCOMPARE(valueIn(table, "s:b"), "x");
    QCOMPARE(valueIn(table, "s:c"), "small");
    QCOMPARE(valueIn(table, "s:d"), "$5 $(SFL_TEST");
    QCOMPARE(valueIn(table, "s:e"), "$(SFL_TEST)");
    QCOMPARE(valueIn(table, "s:f"), "quo\"ted");
    QCOMPARE(valueIn(table, "s:g"), "in side;");
}

void TestSfl::equalNamesAndMissingFiles()
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

void TestSfl::saveKeepsOnlyTheHead()
{
    Table table = load("[Sec]\nKey = a(b\nEmpty =\n[other]\nx=1\n");
    QCOMPARE(ini_dyn_save(table.get(), path().c_str()), 0);
    const QByteArray body =
        "#*END\n\n[Sec]\n    Empty = \"\"\n    Key = \"a\\(b\"\n\n[other]\n    x = \"1\"\n";
    QCOMPARE(read(), body); // no end mark stood there: all of it was replaced

    write("# mine\na\tkey\n [old]\n#*END\n[gone]\nz=1\n");
    QCOMPARE(ini_dyn_save(table.get(), path().c_str()), 0);
    QCOMPARE(read(), "# mine\na       key\n [old]\n" + body);

    QCOMPARE(ini_dyn_save(table.get(), (path("no") + "/dir").c_str()), -1);
    QCOMPARE(ini_dyn_save(table.get(), "/dev/full"), -1);
}

void TestSfl::saveFollowsLineEnds()
{
    Table table = load("[s]\r\nx=1\r\n");
    QCOMPARE(ini_dyn_save(table.get(), path("new.ini").c_str()), 0); // the file read last had them
    QCOMPARE(read("new.ini"), "#*END\r\n\r\n[s]\r\n    x = \"1\"\r\n");
    write("head\n#*END\n", "unix.ini");
    QCOMPARE(ini_dyn_save(table.get(), path("unix.ini").c_str()), 0);
    QCOMPARE(read("unix.ini"), "head\n#*END\n\n[s]\n    x = \"1\"\n");
}

void TestSfl::anythingSavedIsReadBack()
{
    std::mt19937 random(11);
    const auto text = [&](std::string_view alphabet, unsigned shortest, unsigned longest) {
        std::string made(shortest + random() % (longest - shortest + 1), ' ');
        for (char& c : made)
            c = alphabet[random() % alphabet.size()];
        return made;
    };
    for (int round = 0; round < 100; ++round) {
        std::map<std::string, std::string> expected;
        for (int i = 0; i < 20; ++i)
            expected[text("aB:1 .", 0, 4) + "x:" + text("kK_9\xfc", 1, 4)] =
                text("a \\\"n($);#-=[]\n\xe4", 0, 12);
        const Table table = emptyTable();
        for (const auto& [name, value] : expected)
            put(table, name, value);
        QCOMPARE(ini_dyn_save(table.get(), path("b.ini").c_str()), 0);
        const Table again(ini_dyn_load(nullptr, path("b.ini").c_str()));
        std::map<std::string, std::string> found;
        for (const _SYMBOL* symbol = again->symbols; symbol; symbol = symbol->next)
            found[symbol->name] = symbol->value;
        for (const auto& [name, value] : expected)
            QCOMPARE(found[name], value);
    }
}

void TestSfl::hostileInputIsSurvived()
{
    constexpr std::string_view bad("[]=\"\\-;#!$()\n\r\t \x1a\xff\0ab:", 22);
    std::mt19937 random(13);
    for (int round = 0; round < 200; ++round) {
        QByteArray bytes(static_cast<int>(random() % 4000), ' ');
        for (char& c : bytes)
            c = bad[random() % bad.size()];
        const Table table = load(bytes);
        QCOMPARE(ini_dyn_save(table.get(), path("c.ini").c_str()), 0);
    }
    QVERIFY(Table(ini_dyn_load(nullptr, "/"))); // a directory has no lines
}

QTEST_GUILESS_MAIN(TestSfl)
#include "tst_sfl.moc"
