#pragma once

#include <QTemporaryDir>

// A user profile of the test's own: settings, data and home lie in a temporary folder that goes
// with the object; on Windows, the process ends with a message unless it runs in such a profile
// already. To be made before the application object and before any settings are read.
class TestProfile
{
public:
    TestProfile();

private:
    QTemporaryDir m_dir;
};
