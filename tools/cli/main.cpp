// vireo2: command-line host of libVireo2.
#include <QStringList>

#include "program.h"

int main(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    return vireo2::cli::runProgram(arguments);
}
