#pragma once

#include "runner/backupfile.h"

class GatewayThing;

// A reset or a restore replaces ids, certificate and key one after the other. So that a process
// that is killed in between leaves no halves, a file in the data folder, for the user alone, says
// what was begun, and the next start carries it through. Any thread, one change at a time.
namespace identitychange {

// Before the first step. Failures are logged; the change may go on without this safety.
void beginReset();
void beginRestore(const QByteArray &backup);
// After the last step, successful or not.
void end();
// Carries through what the last process had begun and not ended. To be called before anything
// reads the settings.
void carryThrough();

// Whether storeChunk() would take the chunk, as far as that can be told without writing.
bool isUsable(const BackupFile::Chunk &chunk);
// Replaces the settings, the certificate or the key by the chunk. False, with a log line, when its
// data are unusable or cannot be written.
bool storeChunk(GatewayThing &gateway, const BackupFile::Chunk &chunk);

} // namespace identitychange
