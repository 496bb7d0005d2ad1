#pragma once

#include <QStringList>
#include <QVariantList>

// What differs between the systems of the computers that the tests run on.
namespace computer {

double memory();                  // in bytes, not asked as the plugin does
QStringList folders();            // of which the space is known
QStringList placesWithoutSpace(); // absolute paths
QVariantList relativePaths();

} // namespace computer
