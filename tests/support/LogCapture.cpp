#include "LogCapture.h"

#include <QtGlobal>

#include <cstring>
#include <utility>

namespace {

QStringList lines;
QtMessageHandler previousHandler = nullptr;

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtDebugMsg && std::strcmp(context.category, "default") == 0)
        lines += message;
    else
        previousHandler(type, context, message);
}

} // namespace

LogCapture::LogCapture()
{
    lines.clear();
    previousHandler = qInstallMessageHandler(&handleMessage);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(previousHandler);
}

QStringList LogCapture::take()
{
    return std::exchange(lines, {});
}
