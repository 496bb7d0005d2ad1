#pragma once

#include <QtGlobal>

#ifdef THING1_LIBRARY
#define THING1_EXPORT Q_DECL_EXPORT
#else
#define THING1_EXPORT Q_DECL_IMPORT
#endif
