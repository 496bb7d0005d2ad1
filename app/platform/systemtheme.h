#pragma once

// Whether the user's desktop prefers dark colours; false when that is unknown. Needs the
// application object. Waits a quarter of a second at most for the desktop's answer.
bool systemThemeIsDark();
