#include "app/platform/process.h"

// A user's folders are the user's own here.
void keepFilesPrivate() {}
