#pragma once

#include <string>

#include "platform/foundation/ns_log.h"

namespace kelvo {

// One datagram of the journal's native protocol: MESSAGE is the text alone, KELVO_PATH and
// KELVO_DETAIL stand beside it.
std::string journalMessage(const LogRecord& record);

// The same record for a system log that knows no fields: TEXT [path="..." detail="..."].
std::string syslogMessage(const LogRecord& record);

// Hands the datagram to the journal that listens at this socket. False if none does.
bool sendToJournal(const LogRecord& record, const std::string& socketPath);

// To the journal, else to syslog; silent on a system that has neither.
void writeToSystemLog(const LogRecord& record);

}  // namespace kelvo
