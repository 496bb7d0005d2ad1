#pragma once

#include <QStringList>
#include <QVariantList>

// What the tests know of the computer that they run on.
namespace computer {

double memory();                  // bytes; asked in another way than the plugin's
QStringList folders();            // their disk space is known
QStringList placesWithoutSpace(); // absolute paths whose disk space is unknown
QVariantList relativePaths();

} // namespace computer
