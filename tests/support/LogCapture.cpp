#include "LogCapture.h"

#include <QtGlobal>

#include <cstring>
#include <utility>

namespace {

QStringList lines;
QtMessageHandler previousHandler = nullptr;
std::function<void(const QString& line)> hook;

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type != QtDebugMsg || std::strcmp(context.category, "default") != 0) {
        previousHandler(type, context, message);
        return;
    }
    lines += message;
    if (hook)
        hook(message);
}

} // namespace

LogCapture::LogCapture(std::function<void(const QString& line)> whenLogged)
{
    lines.clear();
    hook = std::move(whenLogged);
    previousHandler = qInstallMessageHandler(&handleMessage);
}

LogCapture::~LogCapture()
{
    qInstallMessageHandler(previousHandler);
    hook = nullptr;
}

QStringList LogCapture::take()
{
    return std::exchange(lines, {});
}
