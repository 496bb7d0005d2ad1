#pragma once

class QLocalSocket;

// Lets the process at the other end of a connected socket bring its window to the front. Where the
// system guards that, a process may pass on its own right, which it has from the user's click.
void grantForeground(const QLocalSocket &socket);
