#include "api/text_result.h"

namespace vireo2 {

const char* textResult(const QString& text)
{
    thread_local QByteArray buffer;
    buffer = text.toUtf8();
    return buffer.constData();
}

} // namespace vireo2
