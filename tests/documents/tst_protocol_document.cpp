#include "DocumentBlocks.h"
#include "Session.h"

#include <QtTest>

#include <utility>

using namespace Qt::StringLiterals;

/// Plays every exchange of docs/protocol.md against the library, in the notation that the document explains.
class tst_protocol_document : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void describesTheCommandsOfTheTable();
    void saysWhatHappens_data();
    void saysWhatHappens();
};

namespace {

const QString ProtocolDocument = u"" ORVANE_SOURCE_DIRECTORY "/docs/protocol.md"_s;
const QString CommandTable = u"" ORVANE_SOURCE_DIRECTORY "/commands/CommandDispatch.cpp"_s;

/// The cells of the table that begins with this heading, without the heading and the line under it.
QList<QStringList> tableRows(const QString& heading)
{
    const QStringList lines = documentLines(ProtocolDocument);
    QList<QStringList> rows;
    for (qsizetype i = lines.indexOf(heading) + 2; i < lines.size() && lines.at(i).startsWith(u'|'); ++i) {
        QStringList cells;
        for (const QString& cell : lines.at(i).split(u'|').mid(1))
            cells += cell.trimmed();
        rows += cells;
    }
    return rows;
}

std::vector<RecordingHost::RecorderEntry> documentRecorders()
{
    std::vector<RecordingHost::RecorderEntry> recorders;
    for (const QStringList& cells : tableRows(u"| Recorder | Address | User | Password | Channels | Tracks |"_s)) {
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

std::vector<RecordingHost::PresetEntry> documentPresets()
{
    const QString begin = u"and these presets: "_s;
    std::vector<RecordingHost::PresetEntry> presets;
    for (const QString& line : documentLines(ProtocolDocument).filter(begin)) {
        const QStringList parts = line.mid(begin.size()).split(u'`');
        for (qsizetype i = 1; i < parts.size(); i += 2)
            presets.emplace_back().name = parts.at(i).toStdString();
    }
    return presets;
}

/// One exchange, on a connection of its own.
class Exchange {
public:
    explicit Exchange(QStringList lines)
        : lines(std::move(lines))
    {
        session.host.recorders = documentRecorders();
        session.host.presets = documentPresets();
    }

    void play()
    {
        client = session.connectedClient();
        QVERIFY(client);
        begin();
        for (line = 1; line < lines.size() && !QTest::currentTestFailed(); ++line)
            playLine(lines.at(line));
        if (!QTest::currentTestFailed())
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
            QCOMPARE(lines.first(), u"(connected)"_s);
    }

    void playLine(const QString& text)
    {
        if (text.startsWith(u'>'))
            send(text.mid(2));
        else if (text == u"< (nothing)"_s)
            expectNothing();
        else if (text.startsWith(u"< "_s))
            expect(text.mid(2).toUtf8() + "\r\n\r\n");
        else if (text.startsWith(HostIsAsked))
            expectCall(text.mid(HostIsAsked.size()).section(Answers, 0, 0));
        else if (text == u"* host reports the end of the refresh"_s)
            session.server->handleUpdateAllTreeDevicesFinished();
        else
            QFAIL(qPrintable(u"A line that nobody understands: "_s + text));
    }

    void send(const QString& document)
    {
        lastDocument = document;
        const QString next = lines.value(line + 1);
        if (next.startsWith(HostIsAsked))
            prepareAnswer(next.section(Answers, 1));
        client->send(document.toUtf8());
    }

    /// What the host is going to answer; the call comes before the next line is played.
    void prepareAnswer(const QString& answer)
    {
        const QString split = u"split "_s;
        session.host.usedSplit.reset();
        session.host.refreshStarts = answer == u"true"_s;
        session.host.answer.reset();
        if (answer.startsWith(split))
            session.host.usedSplit = answer.mid(split.size()).toInt();
        else if (answer.startsWith(u'<'))
            session.host.answer = answer.toStdString();
    }

    void expectCall(QString call)
    {
        call.replace(u"the document"_s, u'"' + lastDocument + u'"');
        QTRY_COMPARE(session.host.calls.size(), 1);
        QCOMPARE(session.host.calls.takeFirst().replace(u"(0 entries)"_s, u"()"_s), call);
    }

    void expect(const QByteArray& message)
    {
        QTRY_VERIFY(client->received.size() >= message.size());
        QCOMPARE(client->received.left(message.size()), message);
        client->received.remove(0, message.size());
    }

    /// Of a client without login nobody can tell before the next reply that comes.
    void expectNothing()
    {
        if (lines.first() == u"(connected)"_s)
            return;
        client->send(LastCommand);
        expect(LastReply);
    }

    void expectNothingMore()
    {
        client->loginAsOrvane();
        client->send(LastCommand);
        QTRY_COMPARE(client->received, LastReply);
        QCOMPARE(session.host.calls, QStringList());
    }

    const QString HostIsAsked = u"* host: "_s;
    const QString Answers = u" -> "_s;

    QStringList lines;
    qsizetype line = 0;
    QString lastDocument;
    Session session;
    std::unique_ptr<TlsClient> client;
};

/// What stands between \a quotes in the lines with \a marker.
QStringList quotedNames(const QString& path, const QString& marker, QChar quotes)
{
    QStringList names;
    for (const QString& line : documentLines(path).filter(marker))
        names += line.section(quotes, 1, 1);
    return names;
}

} // namespace

void tst_protocol_document::describesTheCommandsOfTheTable()
{
    const QStringList commands = quotedNames(CommandTable, u" Command {\""_s, u'"');
    const QStringList sections = quotedNames(ProtocolDocument, u"## `"_s, u'`');
    QVERIFY(!commands.isEmpty());
    QCOMPARE(sections, QStringList(u"loginClient"_s) + commands);
    for (const QString& name : sections) // an exchange each
        QVERIFY2(!documentLines(ProtocolDocument).filter(u"> <"_s + name).isEmpty(), qPrintable(name));
}

void tst_protocol_document::saysWhatHappens_data()
{
    QTest::addColumn<QStringList>("lines");
    const QList<DocumentBlock> exchanges = documentBlocks(ProtocolDocument, u"exchange"_s);
    QVERIFY(!exchanges.isEmpty());
    for (const DocumentBlock& exchange : exchanges)
        QTest::newRow(qPrintable(exchange.place)) << exchange.lines;
}

void tst_protocol_document::saysWhatHappens()
{
    QFETCH(const QStringList, lines);
    Exchange(lines).play();
}

QTEST_GUILESS_MAIN(tst_protocol_document)
#include "tst_protocol_document.moc"
