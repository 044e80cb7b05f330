#pragma once

#include <QMap>
#include <QString>
#include <array>

namespace vireo2 {

constexpr int kCommandCount = 78;

struct CommandWord {
    const char* word;   // lower-case command word accepted by Execute
    int requiredWords;  // words needed, the command word included
};

// The command words of Execute in identifier order.
const std::array<CommandWord, kCommandCount>& commandTable();

// Long operations run by "start", in operation-number order.
const std::array<const char*, 3>& longOperations();

// Word-to-identifier map the device keeps for dispatch.
QMap<QString, qint32> commandMap();

} // namespace vireo2
