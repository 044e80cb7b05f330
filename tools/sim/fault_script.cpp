#include "fault_script.h"

#include "threading/locks.h"
#include <QStringList>

namespace vireo2::sim {
namespace {

// Splits on blanks, keeping double-quoted runs together (quotes removed).
std::optional<QStringList> tokenize(const QString& text, QString* error)
{
    QStringList tokens;
    QString current;
    bool inQuotes = false;
    bool hasToken = false;
    for (const QChar c : text) {
        if (c == QLatin1Char('"')) {
            inQuotes = !inQuotes;
            hasToken = true;
        } else if (c.isSpace() && !inQuotes) {
            if (hasToken)
                tokens << current;
            current.clear();
            hasToken = false;
        } else {
            current += c;
            hasToken = true;
        }
    }
    if (inQuotes) {
        *error = QStringLiteral("unterminated quote");
        return std::nullopt;
    }
    if (hasToken)
        tokens << current;
    return tokens;
}

std::optional<int> toCount(const QString& text)
{
    bool ok = false;
    const int value = text.toInt(&ok);
    return ok && value >= 0 ? std::optional<int>(value) : std::nullopt;
}

std::optional<QList<int>> toCounts(const QString& text)
{
    QList<int> values;
    for (const QString& part : text.split(QLatin1Char(','))) {
        const auto value = toCount(part);
        if (!value)
            return std::nullopt;
        values << *value;
    }
    return values;
}

std::optional<QByteArray> fromHex(const QString& text)
{
    static const QString digits = QStringLiteral("0123456789abcdefABCDEF");
    if (text.size() % 2 != 0)
        return std::nullopt;
    for (const QChar c : text) {
        if (!digits.contains(c))
            return std::nullopt;
    }
    return QByteArray::fromHex(text.toLatin1());
}

// One key=value (or bare flag) of the text form.
bool applyOption(Fault& fault, const QString& key, const QString& value, QString* error)
{
    auto fail = [&] {
        *error = QStringLiteral("bad value for %1: %2").arg(key, value);
        return false;
    };
    if (key == QLatin1String("reply")) {
        fault.reply = value.toUtf8();
    } else if (key == QLatin1String("final")) {
        if (!fault.progress)
            fault.progress = Fault::Progress{};
        fault.progress->finalReply = value.toUtf8();
    } else if (key == QLatin1String("progress")) {
        const auto values = toCounts(value);
        if (!values || values->size() != 3)
            return fail();
        const auto finalReply = fault.progress ? fault.progress->finalReply : std::nullopt;
        fault.progress = Fault::Progress{values->at(0), values->at(1), qMax(1, values->at(2)), finalReply};
    } else if (key == QLatin1String("silent")) {
        fault.silent = true;
    } else if (key == QLatin1String("drop")) {
        fault.drop = true;
    } else if (key == QLatin1String("once")) {
        fault.times = 1;
    } else if (key == QLatin1String("always")) {
        fault.times = -1;
    } else if (key == QLatin1String("times")) {
        const auto count = toCount(value);
        if (!count || *count == 0)
            return fail();
        fault.times = *count;
    } else if (key == QLatin1String("delay") || key == QLatin1String("pause")) {
        const auto ms = toCount(value);
        if (!ms)
            return fail();
        (key == QLatin1String("delay") ? fault.delayMs : fault.segmentPauseMs) = *ms;
    } else if (key == QLatin1String("before") || key == QLatin1String("after")) {
        const auto bytes = fromHex(value);
        if (!bytes)
            return fail();
        (key == QLatin1String("before") ? fault.before : fault.after) = *bytes;
    } else if (key == QLatin1String("split")) {
        const auto sizes = toCounts(value);
        if (!sizes)
            return fail();
        fault.segments = *sizes;
    } else if (key == QLatin1String("length")) {
        bool ok = false;
        const quint32 length = value.toUInt(&ok, 0);
        if (!ok)
            return fail();
        fault.lengthField = length;
    } else if (key == QLatin1String("since")) {
        if (value.isEmpty())
            return fail();
        fault.sinceCommand(value.toUtf8());
    } else {
        *error = QStringLiteral("unknown fault option: %1").arg(key);
        return false;
    }
    return true;
}

} // namespace

Fault Fault::on(const QByteArray& match)
{
    Fault fault;
    fault.match = match;
    return fault;
}

Fault& Fault::replying(const QByteArray& payload)
{
    reply = payload;
    return *this;
}

Fault& Fault::withProgress(int delay, int wait, int polls, std::optional<QByteArray> finalReply)
{
    progress = Progress{delay, wait, qMax(1, polls), std::move(finalReply)};
    return *this;
}

Fault& Fault::silently()
{
    silent = true;
    return *this;
}

Fault& Fault::dropping()
{
    drop = true;
    return *this;
}

Fault& Fault::delayedBy(int ms)
{
    delayMs = ms;
    return *this;
}

Fault& Fault::withGarbage(const QByteArray& beforePacket, const QByteArray& afterPacket)
{
    before = beforePacket;
    after = afterPacket;
    return *this;
}

Fault& Fault::splitInto(const QList<int>& sizes, int pauseMs)
{
    segments = sizes;
    segmentPauseMs = pauseMs;
    return *this;
}

Fault& Fault::withLengthField(quint32 value)
{
    lengthField = value;
    return *this;
}

Fault& Fault::always()
{
    times = -1;
    return *this;
}

Fault& Fault::repeated(int count)
{
    times = count;
    return *this;
}

Fault& Fault::sinceCommand(const QByteArray& command)
{
    since = command;
    armed = since.isEmpty();
    return *this;
}

bool Fault::matches(const QByteArray& command) const
{
    return matches(match, command);
}

bool Fault::matches(const QByteArray& match, const QByteArray& command)
{
    if (match == "*")
        return true;
    const QByteArray whole = command.trimmed();
    const QByteArray firstWord = whole.split(' ').value(0);
    return whole.compare(match, Qt::CaseInsensitive) == 0 || firstWord.compare(match, Qt::CaseInsensitive) == 0;
}

std::optional<Fault> Fault::parse(const QString& text, QString* error)
{
    QString ignored;
    if (!error)
        error = &ignored;
    const auto tokens = tokenize(text, error);
    if (!tokens)
        return std::nullopt;
    if (tokens->isEmpty() || tokens->first().isEmpty()) {
        *error = QStringLiteral("missing command to match");
        return std::nullopt;
    }
    Fault fault = on(tokens->first().toUtf8());
    for (int i = 1; i < tokens->size(); ++i) {
        const QString& token = tokens->at(i);
        const int equals = token.indexOf(QLatin1Char('='));
        const QString key = (equals < 0 ? token : token.left(equals)).toLower();
        const QString value = equals < 0 ? QString() : token.mid(equals + 1);
        if (!applyOption(fault, key, value, error))
            return std::nullopt;
    }
    return fault;
}

void FaultScript::add(const Fault& fault)
{
    MutexLocker lock(&mutex_);
    faults_ << fault;
}

void FaultScript::clear()
{
    MutexLocker lock(&mutex_);
    faults_.clear();
}

std::optional<Fault> FaultScript::take(const QByteArray& command)
{
    MutexLocker lock(&mutex_);
    // A fault waiting for its "since" command is armed by it, for the
    // commands that follow.
    QList<bool> waiting;
    for (Fault& fault : faults_) {
        waiting << !fault.armed;
        if (!fault.armed && Fault::matches(fault.since, command))
            fault.armed = true;
    }
    for (int i = 0; i < faults_.size(); ++i) {
        Fault& fault = faults_[i];
        if (waiting.at(i) || !fault.matches(command))
            continue;
        const Fault applied = fault;
        if (fault.times > 0 && --fault.times == 0)
            faults_.removeAt(i);
        return applied;
    }
    return std::nullopt;
}

int FaultScript::size() const
{
    MutexLocker lock(&mutex_);
    return faults_.size();
}

} // namespace vireo2::sim
