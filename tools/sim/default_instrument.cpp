#include "default_instrument.h"

#include <QList>
#include <QMutex>
#include <QMutexLocker>

namespace vireo2::sim {
namespace {

class DefaultInstrument : public InstrumentModel {
public:
    explicit DefaultInstrument(const DefaultInstrumentOptions& options) : options_(options) {}

    QByteArray reply(const QByteArray& command) override
    {
        QMutexLocker lock(&mutex_);
        const QByteArray text = command.trimmed();
        const QByteArray keyword = text.split(' ').value(0).toUpper();
        if (text.compare("version", Qt::CaseInsensitive) == 0)
            return keyword + " 0x00 " + options_.productName.toUtf8() + ' ' + options_.firmwareVersion.toUtf8();
        return keyword + " 0x00";
    }

    QString control(const QString& line) override
    {
        QMutexLocker lock(&mutex_);
        if (line.trimmed().compare(QLatin1String("serial"), Qt::CaseInsensitive) == 0)
            return options_.serialNumber;
        return QString();
    }

private:
    QMutex mutex_;
    DefaultInstrumentOptions options_;
};

} // namespace

std::unique_ptr<InstrumentModel> createDefaultInstrument(const DefaultInstrumentOptions& options)
{
    return std::make_unique<DefaultInstrument>(options);
}

} // namespace vireo2::sim
