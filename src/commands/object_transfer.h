#pragma once

#include <QByteArray>
#include <QString>

namespace vireo2 {

class CommandContext;

// The instrument's named objects (colour libraries, job templates, tools,
// palettes) and long texts travel in chunks through text commands.
namespace transfer {

// A push: the object's bytes in chunks "PREFIX N ! |"/" |" + bytes (PREFIX
// "colorlibrary send", ...)
// (N = chunks still to follow; an exact multiple of the chunk size ends with
// an empty chunk), each through ExecuteBinary; statuses 0, 5 and 7 go on, any
// other stops and answers that reply. Then `closing`; its reply is the answer.
QString push(CommandContext& context, const QByteArray& object, const QString& prefix, const QString& closing,
             int chunkSize);

// Whether a push goes on after a chunk's reply status: 0, 5 and 7 do.
bool pushContinues(qint32 status);

// The chunk headers of a push, for its tests: the whole messages in order.
QList<QByteArray> pushMessages(const QByteArray& object, const QString& prefix, int chunkSize);

// The first receive of a pull is its receive command followed by " !"
// ("tool receive !", then "tool receive" for the rest).
QString firstReceive(const QString& receive);

// A fetch-style pull (long transfers): request, the first receive, then
// later receives every 200 ms while the instrument answers status 18, within
// `deadlineMs`. The answer is `resultPrefix` + the payloads.
struct Fetch {
    QString request;            // empty: none
    int requestTimeoutMs = 5000;
    QString receive;            // "tool receive", ...
    int firstTimeoutMs = 5000;
    int laterTimeoutMs = 10000;
    QString resultPrefix;
    int deadlineMs = 60000;
    QString timeoutAnswer;      // what a deadline answers (empty text, or "RECEIVE_TIMEOUT")
};
QString fetch(CommandContext& context, const Fetch& how);

// A list-style pull: like a fetch with a 20 s deadline, 25 ms between
// receives and no prefix; the request's status is not checked.
QString list(CommandContext& context, const QString& request, const QString& receive);

// The bytes after a reply's first "|"; false when there are none.
bool payloadOf(const QByteArray& reply, QByteArray* payload);

// One raw message through ExecuteBinary (a 100-byte reply buffer); the
// reply as text in `reply`, false when nothing came back.
bool sendRaw(CommandContext& context, const QByteArray& message, int timeoutMs, QByteArray* reply);

// Single-message edit: "PREFIX send 0 ! |" + JSON, then the edit command.
QString edit(CommandContext& context, const QString& prefix, const QString& json, const QString& editCommand);

} // namespace transfer
} // namespace vireo2
