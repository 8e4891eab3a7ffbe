#pragma once

#include <QByteArray>
#include <QString>

// The documents of the benchmarks.

/// showLive with five parameters.
inline QString showLiveDocument()
{
    return QStringLiteral("<p:showLive xmlns:p=\"http://www.halden.example/ravo_1_0/\"><recorder>Recorder 1</recorder>"
                          "<camera>3</camera><splitid>2</splitid><alarm>0</alarm><commandtag>4711</commandtag>"
                          "</p:showLive>");
}

/// setDetailViews with subsplits of six attributes each.
inline QString detailViewsDocument(int subsplits)
{
    QString document = QStringLiteral("<p:setDetailViews xmlns:p=\"http://www.halden.example/ravo_1_0/\">"
                                      "<splitid>2</splitid><subsplits>");
    for (int id = 0; id < subsplits; ++id) {
        document +=
            QStringLiteral("<subsplit id=\"%1\" objectid=\"0\" ltx=\"0.125\" lty=\"0.25\" rbx=\"0.5\" rby=\"0.75\"/>")
                .arg(id);
    }
    return document + QStringLiteral("</subsplits></p:setDetailViews>");
}

/// The library's reply to showLiveDocument() if the host keeps the split.
inline QByteArray showLiveReply()
{
    return "<p:commandAccepted xmlns:p=\"http://www.halden.example/ravo_1_0/\"><command>showLive</command>"
           "<splitid>2</splitid><commandtag>4711</commandtag></p:commandAccepted>\r\n\r\n";
}

/// The notice to each client waiting for the end of a refresh.
inline QByteArray refreshFinishedNotice()
{
    return "<p:updateRecorderContentsFinished xmlns:p=\"http://www.halden.example/ravo_1_0/\" />\r\n\r\n";
}
