#pragma once

#include <QByteArray>
#include <QJsonObject>

namespace OrvaneClient {

class Reply;

/// How answers are printed.
enum class ReplyFormat {
    Raw, ///< as they came
    Indented, ///< one element a line
    Json, ///< one object a line; --help has their members, which stay as they are
    Names, ///< one name of a list a line; other answers as they came
    Nothing,
};

/// What --json prints of it.
QJsonObject jsonObject(const Reply& reply);

/// The lines to print, the last line end included; empty when there are none.
QByteArray formatted(const Reply& reply, ReplyFormat format);

} // namespace OrvaneClient
