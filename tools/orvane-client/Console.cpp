#include "Console.h"

#include "LineSource.h"
#include "Reply.h"

#include <cstdio>

namespace OrvaneClient {

void Console::reply(const Reply& reply)
{
    write(stdout, (indented ? reply.indented() : reply.raw()) + '\n');
}

void Console::text(const QString& text)
{
    write(stdout, text.toUtf8());
}

void Console::problem(const QString& reason)
{
    write(stderr, "orvane-client: " + reason.simplified().toUtf8() + '\n');
}

void Console::trace(const QString& lines)
{
    write(stderr, lines.toUtf8() + '\n');
}

void Console::write(std::FILE* stream, const QByteArray& bytes)
{
    if (prompt)
        prompt->hide();
    // Nobody is left to be told when this fails.
    static_cast<void>(std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream));
    static_cast<void>(std::fflush(stream));
    if (prompt)
        prompt->restore();
}

} // namespace OrvaneClient
