#pragma once

#include <QTemporaryDir>

// A user profile for the test: settings, data and home are in a temporary folder, which the
// destructor removes. On Windows, ends the process with a message unless it runs in such a profile
// already. Create it before the application object and before any settings are read.
class TestProfile
{
public:
    TestProfile();

private:
    QTemporaryDir m_dir;
};
