#pragma once

class QLocalSocket;

// Allows the process at the other end of a connected socket to bring its window to the front.
// Windows allows that only to the program that the user started last, which may pass it on.
void grantForeground(const QLocalSocket &socket);
