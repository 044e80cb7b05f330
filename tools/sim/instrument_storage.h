#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <optional>

namespace vireo2::sim {

// What the simulated instrument stores and hands out in chunks: colour
// libraries, job templates, tools by kind and palettes pushed with "... send
// N ! |" chunks and a closing add/import; lists and objects pulled with
// "... receive !" and "... receive", answered with status 0x12 while more
// follows; its own log; the digital-loupe list and a screen capture. Not
// locked: the instrument model calls it under its own lock.
class InstrumentStorage {
public:
    static constexpr int kDefaultChunk = 16384;

    // The reply to a storage command (`command` as received), or nothing.
    std::optional<QByteArray> reply(const QByteArray& command);
    // Every command goes into the instrument's log.
    void noteCommand(const QByteArray& command, qint64 ms);
    // The screen image "screen capture" takes.
    void setScreen(const QByteArray& bitmap) { screen_ = bitmap; }
    void setChunkSize(int bytes) { chunkSize_ = bytes; }
    int chunkSize() const { return chunkSize_; }
    int objectCount() const;
    // What the next "<stream> receive" commands hand out.
    void offerStream(const QString& stream, const QByteArray& bytes) { outgoing_.insert(stream, bytes); }
    // The bytes pushed under a send prefix ("clone send"), taken away.
    QByteArray takePending(const QString& prefix) { return pending_.take(prefix); }
    // The stored objects as one JSON object, and back (for clones).
    QJsonObject snapshot() const;
    void restore(const QJsonObject& snapshot);
    // The next chunk of a stream, as "<KEYWORD> 0x12 |..." or "... 0x00 |...".
    QByteArray nextChunk(const QByteArray& keyword, const QString& stream) { return receive(keyword, stream, false); }

private:
    using Store = QMap<QString, QByteArray>;

    QByteArray receive(const QByteArray& keyword, const QString& stream, bool first);
    QByteArray offer(const QByteArray& keyword, const QString& stream, const QByteArray& bytes);
    QByteArray addObject(const QByteArray& keyword, Store& store, const QString& pending);
    QByteArray listOf(const QByteArray& keyword, const QString& stream, const Store& store);

    QMap<QString, QByteArray> pending_;   // pushed chunks by send prefix
    QMap<QString, QByteArray> outgoing_;  // what the next receives hand out, by stream
    Store libraries_;
    Store templates_;
    QMap<QString, Store> tools_;          // by kind
    Store palettes_;
    QByteArray paletteList_;
    QByteArray log_;
    QByteArray screen_;
    int chunkSize_ = kDefaultChunk;
};

} // namespace vireo2::sim
