#pragma once

// Whether the user's desktop asks applications for dark colours. False where it does not say.
// Needs the application object; waits for the desktop's answer for a quarter of a second at the
// most.
bool systemThemeIsDark();
