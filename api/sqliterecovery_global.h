#pragma once

#include <QtGlobal>

/// Marks what the shared library exports; everything else stays hidden inside it.
#if defined(SQLITERECOVERY_LIBRARY)
#define SQLITERECOVERY_EXPORT Q_DECL_EXPORT
#else
#define SQLITERECOVERY_EXPORT Q_DECL_IMPORT
#endif
