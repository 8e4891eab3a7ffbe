#include "Clients.h"
#include "DocumentBlocks.h"
#include "LogCapture.h"
#include "Repetitions.h"
#include "Session.h"
#include "TestClass.h"

#include <QTest>

#include <utility>

using namespace Qt::StringLiterals;

/// Plays every exchange of docs/protocol.md against the library, in the notation that the document explains, and more
/// that client developers need not read, in the notation of tests/library/commands.md.
class tst_protocol_document : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void describesCommandsOfTable();
    void matchesTheLibrary_data();
    void matchesTheLibrary();
};

namespace {

const QString ProtocolDocument = u"" ORVANE_SOURCE_DIRECTORY "/docs/protocol.md"_s;
const QString LibraryTests = u"" ORVANE_SOURCE_DIRECTORY "/tests/library/"_s;
const QString CommandTable = u"" ORVANE_SOURCE_DIRECTORY "/commands/CommandDispatch.cpp"_s;

/// The cells of the table with this heading, without the heading and the line under it.
QList<QStringList> tableRows(const QStringList& lines, const QString& heading)
{
    QList<QStringList> rows;
    for (qsizetype i = lines.indexOf(heading) + 2; i < lines.size() && lines.at(i).startsWith(u'|'); ++i) {
        QStringList cells;
        for (const QString& cell : lines.at(i).split(u'|').mid(1))
            cells += cell.trimmed();
        rows += cells;
    }
    return rows;
}

std::vector<RecordingHost::RecorderEntry> recordersOf(const QStringList& document)
{
    std::vector<RecordingHost::RecorderEntry> recorders;
    for (const QStringList& cells :
        tableRows(document, u"| Recorder | Address | User | Password | Channels | Tracks |"_s)) {
        RecordingHost::RecorderEntry& recorder = recorders.emplace_back();
        recorder.name = cells.at(0).toStdString();
        recorder.ip = cells.at(1).toStdString();
        recorder.userName = cells.at(2).toStdString();
        recorder.password = cells.at(3).toStdString();
        recorder.maxNumChannels = cells.at(4).toInt();
        for (const QString& track : cells.at(5).split(u", "_s, Qt::SkipEmptyParts))
            recorder.tracks.push_back(track.toStdString());
    }
    return recorders;
}

std::vector<RecordingHost::PresetEntry> presetsOf(const QStringList& document)
{
    const QString begin = u"and these presets: "_s;
    std::vector<RecordingHost::PresetEntry> presets;
    for (const QString& line : document.filter(begin)) {
        const QStringList parts = line.mid(begin.size()).split(u'`');
        for (qsizetype i = 1; i < parts.size(); i += 2)
            presets.emplace_back().name = parts.at(i).toStdString();
    }
    return presets;
}

/// The text with its repetitions expanded and its control pictures replaced.
QString meant(const QString& text)
{
    QString all = expanded(text);
    for (QChar& character : all) {
        if (character >= u'\u2400' && character < u'\u2420')
            character = QChar(character.unicode() - u'\u2400');
    }
    return all;
}

/// One exchange, on a connection of its own.
class Exchange {
public:
    Exchange(const QString& path, const QStringList& lines)
        : lines(lines)
        , account(lines.first().section(AccountIs, 1).section(u')', 0, 0).split(u' '))
        , session(lines.first().contains(AccountIs) ? Session(account.value(1), account.value(2)) : Session())
    {
        const QStringList document = documentLines(path);
        session.host.recorders = recordersOf(document);
        session.host.presets = presetsOf(document);
    }

    void play()
    {
        Clients clients = connectClients(session.server->serverPort(), 1);
        QVERIFY(!clients.empty());
        client = std::move(clients.front());
        begin();
        for (line = 1; line < lines.size() && !QTest::currentTestFailed(); ++line)
            playLine(lines.at(line));
        if (QTest::currentTestFailed())
            qWarning() << "in line" << lines.at(line - 1);
        else
            expectNothingMore();
    }

private:
    void begin()
    {
        if (lines.first() == u"(logged in as Orvane)"_s)
            client->loginAsOrvane();
        else if (lines.first() == u"(logged in as operator)"_s)
            client->login("operator", "secret");
        else
            QVERIFY(lines.first().startsWith(u"(connected"_s));
    }

    void playLine(const QString& text)
    {
        if (text.startsWith(u'>'))
            send(meant(text.mid(2)));
        else if (text == u"< (nothing)"_s)
            expectNothing();
        else if (text.startsWith(u"< + "_s))
            expect(reply("commandAccepted", meant(text.mid(4)).toUtf8()));
        else if (text.startsWith(u"< - "_s))
            expect(reply("commandRejected", meant(text.mid(4)).toUtf8()));
        else if (text.startsWith(u'<'))
            expect(text.mid(2).toUtf8() + "\r\n\r\n");
        else if (text.startsWith(LibraryLogs))
            expectLogged(text.mid(LibraryLogs.size()));
        else if (text.startsWith(HostIsAsked))
            expectCall(text.mid(HostIsAsked.size()).section(Answers, 0, 0));
        else if (text == u"* host reports the end of the refresh"_s)
            session.server->handleUpdateAllTreeDevicesFinished();
        else if (text == u"* host has nothing from now on"_s)
            session.host.recorders.clear(), session.host.presets.clear();
        else
            QFAIL(qPrintable(u"Unknown notation: "_s + text));
    }

    void send(const QString& document)
    {
        lastDocument = document;
        qsizetype next = line + 1;
        while (lines.value(next).startsWith(LibraryLogs))
            ++next;
        if (lines.value(next).startsWith(HostIsAsked))
            prepareAnswer(lines.at(next).section(Answers, 1));
        client->send(document.toUtf8());
    }

    /// Sets what the host will answer. The call comes before the next line is played.
    void prepareAnswer(const QString& answer)
    {
        const QString split = u"split "_s;
        session.host.usedSplit.reset();
        session.host.refreshStarts = answer == u"true"_s;
        session.host.answer.reset();
        if (answer.startsWith(split))
            session.host.usedSplit = answer.mid(split.size()).toInt();
        else if (answer.startsWith(u'<'))
            session.host.answer = meant(answer).toStdString();
        else if (answer == u"empty"_s)
            session.host.answer = std::string();
    }

    void expectCall(QString call)
    {
        call.replace(u"the document"_s, u'"' + lastDocument + u'"');
        QVERIFY(waitFor([&] { return !session.host.calls.isEmpty(); }));
        QCOMPARE(session.host.calls.size(), 1);
        QCOMPARE(session.host.calls.takeFirst().replace(u"(0 entries)"_s, u"()"_s), call);
    }

    void expect(const QByteArray& message)
    {
        QVERIFY(waitFor([&] { return client->received.size() >= message.size(); }));
        QCOMPARE(client->received.left(message.size()), message);
        client->received.remove(0, message.size());
    }

    void expectLogged(const QString& text)
    {
        QVERIFY(waitFor([&] { return !(logged += LogCapture::take()).isEmpty(); }));
        QCOMPARE(logged.takeFirst(), text);
    }

    /// Without a login this shows only when the next reply comes.
    void expectNothing()
    {
        if (lines.first().startsWith(u"(connected"_s))
            return;
        client->send(LastCommand);
        expect(LastReply);
    }

    void expectNothingMore()
    {
        client->loginAsOrvane();
        client->send(LastCommand);
        expect(LastReply);
        QCOMPARE(client->received, QByteArray());
        QCOMPARE(session.host.calls, QStringList());
        constexpr qsizetype ofLoginAndLast = 6;
        if (!lines.filter(LibraryLogs).isEmpty())
            QCOMPARE((logged += LogCapture::take()).size(), ofLoginAndLast);
    }

    const QString AccountIs = u", the account is"_s;
    const QString HostIsAsked = u"* host: "_s;
    const QString Answers = u" -> "_s;
    const QString LibraryLogs = u"| "_s;

    QStringList lines;
    QStringList account; ///< an empty text, name and password
    qsizetype line = 0;
    QString lastDocument;
    LogCapture log;
    QStringList logged;
    Session session;
    std::unique_ptr<TlsClient> client;
};

/// What is between \a quotes in the lines with \a marker.
QStringList quotedNames(const QString& path, const QString& marker, QChar quotes)
{
    QStringList names;
    for (const QString& line : documentLines(path).filter(marker))
        names += line.section(quotes, 1, 1);
    return names;
}

} // namespace

void tst_protocol_document::describesCommandsOfTable()
{
    const QStringList commands = quotedNames(CommandTable, u" Command {\""_s, u'"');
    const QStringList sections = quotedNames(ProtocolDocument, u"## `"_s, u'`');
    QVERIFY(!commands.isEmpty());
    QCOMPARE(sections, QStringList(u"loginClient"_s) + commands);
    for (const QString& name : sections) // an exchange each
        QVERIFY2(!documentLines(ProtocolDocument).filter(u"> <"_s + name).isEmpty(), qPrintable(name));
}

void tst_protocol_document::matchesTheLibrary_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QStringList>("lines");
    for (const QString& path :
        {ProtocolDocument, LibraryTests + u"commands.md"_s, LibraryTests + u"hostile-documents.md"_s}) {
        const QList<DocumentBlock> exchanges = documentBlocks(path, u"exchange"_s);
        QVERIFY(!exchanges.isEmpty());
        for (const DocumentBlock& exchange : exchanges)
            QTest::newRow(qPrintable(exchange.place)) << path << exchange.lines;
    }
}

void tst_protocol_document::matchesTheLibrary()
{
    QFETCH(const QString, path);
    QFETCH(const QStringList, lines);
    Exchange(path, lines).play();
}

ORVANE_TEST(tst_protocol_document)
#include "tst_protocol_document.moc"
