#include "instrument_storage.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include "loupe_images.h"
#include "status_reply.h"

namespace vireo2::sim {
namespace {

constexpr int kOk = 0x00;
constexpr int kRefused = 0x01;
constexpr int kInvalidArgument = 0x02;
constexpr int kNothingNew = 0x07;
constexpr int kMoreFollows = 0x12;
constexpr int kLogLimit = 1 << 20;

// An object's name: its "name" (or "Name") member.
QString objectName(const QByteArray& json)
{
    const QJsonObject object = QJsonDocument::fromJson(json).object();
    return object.value(QStringLiteral("name")).toString(object.value(QStringLiteral("Name")).toString());
}

QByteArray namesJson(const QStringList& names)
{
    return QJsonDocument::fromVariant(names).toJson(QJsonDocument::Compact);
}

} // namespace

void InstrumentStorage::noteCommand(const QByteArray& command, qint64 ms)
{
    const int bar = command.indexOf('|');
    log_ += QByteArray::number(ms) + ' ' + (bar >= 0 ? command.left(bar + 1) : command) + '\n';
    if (log_.size() > kLogLimit)
        log_.remove(0, log_.size() - kLogLimit);
}

int InstrumentStorage::objectCount() const
{
    int count = libraries_.size() + templates_.size() + palettes_.size();
    for (const Store& kind : tools_)
        count += kind.size();
    return count;
}

QByteArray InstrumentStorage::offer(const QByteArray& keyword, const QString& stream, const QByteArray& bytes)
{
    outgoing_.insert(stream, bytes);
    return statusReply(keyword, kOk);
}

// The next chunk of a stream: 0x12 while more follows, 0x00 with the last.
QByteArray InstrumentStorage::receive(const QByteArray& keyword, const QString& stream, bool first)
{
    Q_UNUSED(first);
    if (!outgoing_.contains(stream))
        return statusReply(keyword, kNothingNew);
    QByteArray& rest = outgoing_[stream];
    const QByteArray chunk = rest.left(chunkSize_);
    rest.remove(0, chunk.size());
    const bool more = !rest.isEmpty();
    if (!more)
        outgoing_.remove(stream);
    return keyword + (more ? " 0x12 |" : " 0x00 |") + chunk;
}

QByteArray InstrumentStorage::addObject(const QByteArray& keyword, Store& store, const QString& pending)
{
    const QByteArray json = pending_.take(pending);
    const QString name = objectName(json);
    if (name.isEmpty())
        return statusReply(keyword, kInvalidArgument);
    store.insert(name, json);
    return statusReply(keyword, kOk);
}

QByteArray InstrumentStorage::listOf(const QByteArray& keyword, const QString& stream, const Store& store)
{
    return offer(keyword, stream, namesJson(store.keys()));
}

std::optional<QByteArray> InstrumentStorage::reply(const QByteArray& command)
{
    const int bar = command.indexOf('|');
    const QString head = QString::fromUtf8(bar >= 0 ? command.left(bar) : command).simplified();
    const QStringList words = head.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString key = head.toLower();
    if (words.isEmpty())
        return std::nullopt;
    const QByteArray keyword = words.first().toUpper().toUtf8();

    // Chunks of a push: "<prefix> send [kind] N ! |bytes" starts, " |bytes"
    // goes on; the words before the count name the object being pushed.
    if (bar >= 0 && words.size() >= 3 && words.at(1).compare(QLatin1String("send"), Qt::CaseInsensitive) == 0) {
        int count = 2;
        bool isNumber = false;
        while (count < words.size() && (words.at(count).toInt(&isNumber), !isNumber))
            ++count;
        if (count < words.size()) {
            const QString prefix = words.mid(0, count).join(QLatin1Char(' ')).toLower();
            if (head.endsWith(QLatin1Char('!')))
                pending_.remove(prefix);
            pending_[prefix] += command.mid(bar + 1);
            return statusReply(keyword, kOk);
        }
    }

    if (key == QLatin1String("colorlibrary add json"))
        return addObject(keyword, libraries_, QStringLiteral("colorlibrary send"));
    if (key == QLatin1String("jobtemplate add json"))
        return addObject(keyword, templates_, QStringLiteral("jobtemplate send"));
    if (key == QLatin1String("chromex add palette"))
        return addObject(keyword, palettes_, QStringLiteral("chromex send palette"));
    if (key == QLatin1String("chromex add palettelist")) {
        paletteList_ = pending_.take(QStringLiteral("chromex send palettelist"));
        return statusReply(keyword, kOk);
    }
    if (key.startsWith(QLatin1String("tool import ")) && words.size() == 3) {
        const QByteArray data = pending_.take(QStringLiteral("tool send"));
        const QString name = objectName(data);
        tools_[words.at(2).toLower()].insert(name.isEmpty() ? QStringLiteral("tool%1").arg(objectCount() + 1) : name, data);
        return statusReply(keyword, kOk);
    }

    // Edits: the object sent with "send 0 ! |" replaces a stored one.
    for (const auto& [prefix, store] : {std::pair<QString, Store*>{QStringLiteral("colorlibrary"), &libraries_},
                                        std::pair<QString, Store*>{QStringLiteral("jobtemplate"), &templates_}}) {
        if (key.startsWith(prefix + QStringLiteral(" edit json ")) && words.size() == 4) {
            if (!store->contains(words.at(3)))
                return statusReply(keyword, kRefused);
            store->insert(words.at(3), pending_.take(prefix + QStringLiteral(" send")));
            return statusReply(keyword, kOk);
        }
        if (key.startsWith(prefix + QStringLiteral(" remove ")) && words.size() == 3)
            return statusReply(keyword, store->remove(words.at(2)) > 0 ? kOk : kRefused);
        if (key == prefix + QStringLiteral(" list"))
            return listOf(keyword, prefix, *store);
        if (key.startsWith(prefix + QStringLiteral(" get json ")) && words.size() == 4) {
            if (!store->contains(words.at(3)))
                return statusReply(keyword, kRefused);
            return offer(keyword, prefix, store->value(words.at(3)));
        }
        if (key == prefix + QStringLiteral(" receive !") || key == prefix + QStringLiteral(" receive"))
            return receive(keyword, prefix, key.endsWith(QLatin1Char('!')));
    }

    if (key.startsWith(QLatin1String("tool list ")) && words.size() == 3)
        return listOf(keyword, QStringLiteral("tool"), tools_.value(words.at(2).toLower()));
    if (key.startsWith(QLatin1String("tool export ")) && words.size() == 4) {
        const Store kind = tools_.value(words.at(2).toLower());
        if (!kind.contains(words.at(3)))
            return statusReply(keyword, kRefused);
        return offer(keyword, QStringLiteral("tool"), kind.value(words.at(3)));
    }
    if (key.startsWith(QLatin1String("tool remove ")) && words.size() == 4)
        return statusReply(keyword, tools_[words.at(2).toLower()].remove(words.at(3)) > 0 ? kOk : kRefused);
    if (key == QLatin1String("tool receive !") || key == QLatin1String("tool receive"))
        return receive(keyword, QStringLiteral("tool"), key.endsWith(QLatin1Char('!')));

    if (key.startsWith(QLatin1String("chromex remove palette ")) && words.size() == 4)
        return statusReply(keyword, palettes_.remove(words.at(3)) > 0 ? kOk : kRefused);
    if (key == QLatin1String("chromex get palettelist"))
        return offer(keyword, QStringLiteral("palettelist"), paletteList_.isEmpty() ? namesJson(palettes_.keys()) : paletteList_);
    if (key == QLatin1String("chromex receive palettelist !") || key == QLatin1String("chromex receive palettelist"))
        return receive(keyword, QStringLiteral("palettelist"), key.endsWith(QLatin1Char('!')));

    if (key == QLatin1String("log acquire !")) {
        outgoing_.insert(QStringLiteral("log"), log_);
        return receive(keyword, QStringLiteral("log"), true);
    }
    if (key == QLatin1String("log acquire"))
        return receive(keyword, QStringLiteral("log"), false);

    if (key == QLatin1String("digitalloupe list"))
        return offer(keyword, QStringLiteral("loupe"), loupeImageNames().join(QLatin1Char(' ')).toUtf8());
    if (key.startsWith(QLatin1String("digitalloupe get ")) && words.size() == 3) {
        const QByteArray image = loupeImage(words.at(2));
        if (image.isEmpty())
            return statusReply(keyword, kRefused);
        return offer(keyword, QStringLiteral("loupe"), image);
    }
    if (key == QLatin1String("digitalloupe receive !") || key == QLatin1String("digitalloupe receive"))
        return receive(keyword, QStringLiteral("loupe"), key.endsWith(QLatin1Char('!')));

    if (key == QLatin1String("screen capture"))
        return offer(keyword, QStringLiteral("screen"), screen_);
    if (key == QLatin1String("screen receive !") || key == QLatin1String("screen receive"))
        return receive(keyword, QStringLiteral("screen"), key.endsWith(QLatin1Char('!')));
    // The video frame: what the camera sees, processed into a bitmap.
    if (key == QLatin1String("videoframe capture"))
        return statusReply(keyword, kOk);
    if (key == QLatin1String("videoframe process screen"))
        return offer(keyword, QStringLiteral("video"), screen_);
    if (key == QLatin1String("videoframe receive screen !") || key == QLatin1String("videoframe receive screen"))
        return receive(keyword, QStringLiteral("video"), key.endsWith(QLatin1Char('!')));
    return std::nullopt;
}

namespace {

QJsonObject storeToJson(const QMap<QString, QByteArray>& store)
{
    QJsonObject object;
    for (auto it = store.constBegin(); it != store.constEnd(); ++it)
        object.insert(it.key(), QString::fromUtf8(it.value().toBase64()));
    return object;
}

QMap<QString, QByteArray> storeFromJson(const QJsonObject& object)
{
    QMap<QString, QByteArray> store;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it)
        store.insert(it.key(), QByteArray::fromBase64(it.value().toString().toUtf8()));
    return store;
}

} // namespace

QJsonObject InstrumentStorage::snapshot() const
{
    QJsonObject tools;
    for (auto it = tools_.constBegin(); it != tools_.constEnd(); ++it)
        tools.insert(it.key(), storeToJson(it.value()));
    return QJsonObject{{QStringLiteral("libraries"), storeToJson(libraries_)},
                       {QStringLiteral("templates"), storeToJson(templates_)},
                       {QStringLiteral("tools"), tools},
                       {QStringLiteral("palettes"), storeToJson(palettes_)},
                       {QStringLiteral("paletteList"), QString::fromUtf8(paletteList_.toBase64())}};
}

void InstrumentStorage::restore(const QJsonObject& snapshot)
{
    libraries_ = storeFromJson(snapshot.value(QStringLiteral("libraries")).toObject());
    templates_ = storeFromJson(snapshot.value(QStringLiteral("templates")).toObject());
    palettes_ = storeFromJson(snapshot.value(QStringLiteral("palettes")).toObject());
    paletteList_ = QByteArray::fromBase64(snapshot.value(QStringLiteral("paletteList")).toString().toUtf8());
    tools_.clear();
    const QJsonObject tools = snapshot.value(QStringLiteral("tools")).toObject();
    for (auto it = tools.constBegin(); it != tools.constEnd(); ++it)
        tools_.insert(it.key(), storeFromJson(it.value().toObject()));
}

} // namespace vireo2::sim
