#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <cstdlib>
#include <functional>

#include <fcntl.h>
#include <unistd.h>

/// Runs the package checker as people do.
class CheckTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void output_data();
    void output();
    void files();
    void refused_data();
    void refused();
    void help();
    void version();
    void fullOutput();
    void terminal_data();
    void terminal();

private:
    struct Result
    {
        int status = -1;
        QByteArray output;
        QByteArray errors;
    };

    static Result run(QStringList const &arguments, QByteArray const &input = {},
                      std::function<void(QProcess &)> const &prepare = {});
};

CheckTest::Result CheckTest::run(QStringList const &arguments, QByteArray const &input,
                                 std::function<void(QProcess &)> const &prepare)
{
    // CHECK is a command, not a path: a program for another processor is run by an emulator.
    QStringList command;
    for (char const *word : {CHECK})
        command.append(QString::fromUtf8(word));

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("NO_COLOR"));
    process.setProcessEnvironment(environment);
    if (prepare)
        prepare(process);
    process.start(command.first(), command.mid(1) + arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished() || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

void CheckTest::output_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<int>("status");

    auto const row
        = [](char const *name, QStringList const &arguments, QByteArray const &input, QByteArray const &output,
             int status) { QTest::newRow(name) << arguments << input << output << status; };

    row("package", {},
        R"({"events":[{"channel":{"channel_id":7},"zap_time":5},{"query":"a\"b","total_items":0}]})"
        "\n",
        R"(<stdin>:1: package 1
package 1, event 1: broken
{
    "channel": {
        "channel_id": 7
    },
    "zap_time": 5
}
events[0]: no type of event has all these keys
package 1, event 2: search_result
{
    "query": "a\"b",
    "total_items": 0
}
1 package, 2 events, 87 bytes; 1 line broken
broken         ######################################## 1
search_result  ######################################## 1
)",
        1);
    row("package on standard input by name", {QStringLiteral("-")},
        R"({"events":[{"components":[1,[],{},null,true,{"a":2.5}]}]})", R"(<stdin>:1: package 1
package 1, event 1: purchase_service_components
{
    "components": [
        1,
        [],
        {},
        null,
        true,
        {
            "a": 2.5
        }
    ]
}
1 package, 1 event, 57 bytes; 0 lines broken
purchase_service_components  ######################################## 1
)",
        0);
    row("single events", {}, "{\"rating\":4}\r\n \t\r\n{}\n", R"(<stdin>:1: event: ui_content_rating
{
    "rating": 4
}
<stdin>:3: event: one of 42 types
{}
0 packages, 2 events, 14 bytes; 0 lines broken
one of 42 types    ######################################## 1
ui_content_rating  ######################################## 1
)",
        0);
    row("two types", {}, R"({"delivery":"push"})", R"(<stdin>:1: event: message_clicked or message_shown
{
    "delivery": "push"
}
0 packages, 1 event, 19 bytes; 0 lines broken
message_clicked or message_shown  ######################################## 1
)",
        0);
    // A key of several properties: what it holds tells more.
    row("target of three types", {}, R"({"target":"tv"})",
        R"(<stdin>:1: event: ui_item_click or ui_menu_click or ui_target_view
{
    "target": "tv"
}
0 packages, 1 event, 15 bytes; 0 lines broken
ui_item_click or ui_menu_click or ui_target_view  ######################################## 1
)",
        0);
    row("package without events", {}, R"({"events":[]})", R"(<stdin>:1: package 1
1 package, 0 events, 13 bytes; 0 lines broken
)",
        0);
    row("broken JSON", {}, "{\"rating\":4}\n{\"name\":\"äö📺\",}\n", R"(<stdin>:1: event: ui_content_rating
{
    "rating": 4
}
<stdin>:2:15: object is missing after a comma
0 packages, 1 event, 32 bytes; 1 line broken
ui_content_rating  ######################################## 1
)",
        1);
    row("two commas", {}, R"({"events":[{},,{}]})", R"(<stdin>:1:15: illegal value
0 packages, 0 events, 19 bytes; 1 line broken
)",
        1);
    row("other JSON", {}, "[{}]\n", R"(<stdin>:1: expected a package or an event, got a list
0 packages, 0 events, 4 bytes; 1 line broken
)",
        1);
    row("broken format", {}, R"({"san":7,"offset":1.5,"colour":"red"})", R"(<stdin>:1: event: broken
{
    "colour": "red",
    "offset": 1.5,
    "san": 7
}
event.colour: unknown key
event.offset: expected an integer, got 1.5
event.san: expected a string, got 7
0 packages, 1 event, 37 bytes; 1 line broken
broken  ######################################## 1
)",
        1);
    row("broken package", {}, R"({"events":7,"version":1})", R"(<stdin>:1: package 1
version: unknown key
events: expected a list, got 7
1 package, 0 events, 24 bytes; 1 line broken
)",
        1);
    row("summary", {QStringLiteral("--summary")},
        R"({"events":[{"rating":4},{"rating":5},{"rating":5},{"rating":5}]})"
        "\n[]\n"
        R"({"events":[{"query":"a"},{"query":""}]})"
        "\n",
        R"(2 packages, 6 events, 105 bytes; 2 lines broken
broken             ########## 1
search_result      ########## 1
ui_content_rating  ######################################## 4
)",
        1);
    row("unknown key", {QStringLiteral("--summary")}, R"({"rating":4,"colour":1})",
        R"(0 packages, 1 event, 23 bytes; 1 line broken
broken  ######################################## 1
)",
        1);
    row("widest type in front", {QStringLiteral("--summary")}, "{\"rating\":4}\n{\"feedback\":\"a\"}\n",
        R"(0 packages, 2 events, 28 bytes; 0 lines broken
ui_content_rating  ######################################## 1
ui_feedback        ######################################## 1
)",
        0);
    row("a bar that is short", {QStringLiteral("--summary")},
        QByteArray("{\"rating\":4}\n").repeated(100) + "{\"query\":\"a\"}",
        R"(0 packages, 101 events, 1213 bytes; 0 lines broken
search_result      # 1
ui_content_rating  ######################################## 100
)",
        0);
    row("colors", {QStringLiteral("--color=always")}, R"({"events":[{"path":["a",1],"san":7}]})",
        "\x1b[1m<stdin>:1: package 1\x1b[0m\n"
        "\x1b[1mpackage 1, event 1: broken\x1b[0m\n"
        "{\n"
        "    \x1b[34m\"path\"\x1b[0m: [\n"
        "        \x1b[32m\"a\"\x1b[0m,\n"
        "        \x1b[35m1\x1b[0m\n"
        "    ],\n"
        "    \x1b[34m\"san\"\x1b[0m: \x1b[35m7\x1b[0m\n"
        "}\n"
        "\x1b[31mevents[0].san: expected a string, got 7\x1b[0m\n"
        "1 package, 1 event, 37 bytes; \x1b[31m1 line broken\x1b[0m\n"
        "broken  \x1b[34m########################################\x1b[0m 1\n",
        1);
    row("lines", {QStringLiteral("--format=lines"), QStringLiteral("--color=always")},
        "{\"rating\":4}\n"
        "\n"
        R"({"events":[{"rating":4},{"san":7,"offset":1.5},{"zap_time":5,"query":"a"}],"version":1})"
        "\n"
        R"({"a\n\rb":1})"
        "\n"
        "{\"name\":\"äö📺\",}\n"
        "[{}]\n",
        R"(<stdin>:3:1: version: unknown key
<stdin>:3:1: events[1].offset: expected an integer, got 1.5
<stdin>:3:1: events[1].san: expected a string, got 7
<stdin>:3:1: events[2]: no type of event has all these keys
<stdin>:4:1: event.a\n\rb: unknown key
<stdin>:5:15: JSON: object is missing after a comma
<stdin>:6:1: JSON: expected a package or an event, got a list
)",
        1);
    row("lines of what is sound", {QStringLiteral("--format=lines")}, "{\"rating\":4}\n", {}, 0);
    row("no colors", {QStringLiteral("--color=never")}, {}, "0 packages, 0 events, 0 bytes; 0 lines broken\n", 0);
    row("empty input", {}, {}, "0 packages, 0 events, 0 bytes; 0 lines broken\n", 0);
}

void CheckTest::output()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, output);
    QFETCH(int, status);

    Result const result = run(arguments, input);
    QCOMPARE(result.output, output);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.status, status);
}

/// A file that cannot be read does not keep the others from being read.
void CheckTest::files()
{
    QTemporaryDir folder;
    QString const sound = folder.filePath(QStringLiteral("sound"));
    QFile file(sound);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{\"rating\":4}\n");
    file.close();
    QString const missing = folder.filePath(QStringLiteral("missing"));

    Result const result = run({QStringLiteral("--summary"), missing, sound, folder.path(), sound});
    QCOMPARE(result.output,
             QByteArray("0 packages, 2 events, 24 bytes; 0 lines broken\n"
                        "ui_content_rating  ######################################## 2\n"));
    QCOMPARE(QString::fromLocal8Bit(result.errors),
             QStringLiteral("stbanalytics-check: %1: No such file or directory\n"
                            "stbanalytics-check: %2: file to open is a directory\n")
                 .arg(missing, folder.path()));
    QCOMPARE(result.status, 2);
}

void CheckTest::refused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("errors");

    QTest::newRow("unknown option") << QStringList{QStringLiteral("--colour")}
                                    << QByteArray("stbanalytics-check: Unknown option 'colour'.\n");
    QTest::newRow("unknown color") << QStringList{QStringLiteral(
        "--color=red")} << QByteArray("stbanalytics-check: --color: expected always, never or auto, got red\n");
    QTest::newRow("unknown format") << QStringList{QStringLiteral("--format=json")}
                                    << QByteArray("stbanalytics-check: --format: expected text or lines, got json\n");
    QTest::newRow("summary of lines") << QStringList{QStringLiteral("--format=lines"), QStringLiteral("--summary")}
                                      << QByteArray("stbanalytics-check: --summary: lines have no summary\n");
    QTest::newRow("no value") << QStringList{QStringLiteral("--color")}
                              << QByteArray("stbanalytics-check: Missing value after '--color'.\n");
}

void CheckTest::refused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, errors);

    Result const result = run(arguments, "{}\n");
    QCOMPARE(result.output, QByteArray());
    QCOMPARE(result.errors, errors);
    QCOMPARE(result.status, 2);
}

void CheckTest::help()
{
    Result const result = run({QStringLiteral("--help")});
    QVERIFY(result.output.contains("--color <when>"));
    QCOMPARE(result.status, 0);
}

void CheckTest::version()
{
    Result const result = run({QStringLiteral("--version")});
    QVERIFY(result.output.startsWith("stbanalytics-check "));
    QCOMPARE(result.status, 0);
}

void CheckTest::fullOutput()
{
    Result const result
        = run({}, "{}\n", [](QProcess &process) { process.setStandardOutputFile(QStringLiteral("/dev/full")); });
    QCOMPARE(result.errors, QByteArray("stbanalytics-check: standard output cannot be written to\n"));
    QCOMPARE(result.status, 2);
}

void CheckTest::terminal_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("noColor");
    QTest::addColumn<QByteArray>("output");

    // The terminal puts a carriage return in front of each line feed.
    QByteArray const plain = "0 packages, 0 events, 0 bytes; 0 lines broken\r\n";
    QByteArray const colored = "0 packages, 0 events, 0 bytes; \x1b[32m0 lines broken\x1b[0m\r\n";
    QTest::newRow("colors") << QStringList() << QByteArray() << colored;
    QTest::newRow("auto") << QStringList{QStringLiteral("--color=auto")} << QByteArray() << colored;
    QTest::newRow("NO_COLOR") << QStringList() << QByteArray("1") << plain;
    QTest::newRow("never") << QStringList{QStringLiteral("--color=never")} << QByteArray() << plain;
    QTest::newRow("always") << QStringList{QStringLiteral("--color=always")} << QByteArray("1") << colored;
}

void CheckTest::terminal()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, noColor);
    QFETCH(QByteArray, output);

    int const screen = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (screen < 0 || grantpt(screen) != 0 || unlockpt(screen) != 0)
        QSKIP("this machine has no pseudoterminals");
    int const line = open(ptsname(screen), O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(line >= 0);
    Result const result = run(arguments, {}, [&](QProcess &process) {
        QProcessEnvironment environment = process.processEnvironment();
        // An empty NO_COLOR counts as none.
        environment.insert(QStringLiteral("NO_COLOR"), QString::fromLatin1(noColor));
        process.setProcessEnvironment(environment);
        process.setChildProcessModifier([line] { dup2(line, STDOUT_FILENO); });
    });
    // Once nobody has the line open, reading from the screen fails behind the last byte.
    close(line);
    QByteArray shown;
    char byte = 0;
    while (read(screen, &byte, 1) == 1)
        shown.append(byte);
    close(screen);
    QCOMPARE(shown, output);
    QCOMPARE(result.errors, QByteArray());
    QCOMPARE(result.status, 0);
}

QTEST_GUILESS_MAIN(CheckTest)
#include "tst_check.moc"
