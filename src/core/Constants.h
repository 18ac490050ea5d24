#pragma once
#include <core/PosixSync.h>

#include <core/Export.h>

#include <QString>

/// Names that the client and the library share.
namespace sync::core::consts {

/// Name of the client's scratch folder inside a synchronised tree. A path that contains it, in any
/// case, is never inside a synchronised folder.
extern VELMIO_CORE_EXPORT const QString TEMP_FOLDER_NAME;

/// Name of the folder of base (backup) copies.
extern VELMIO_CORE_EXPORT const QString BASE_FOLDER_NAME;

/// File name extension of a base copy, without the dot.
extern VELMIO_CORE_EXPORT const QString BASE_FILE_EXTN;

/// File name extension of a file during its transfer, without the dot.
extern VELMIO_CORE_EXPORT const QString TEMP_FILE_EXTN;

/// File name extension of a binary difference, without the dot.
extern VELMIO_CORE_EXPORT const QString DELTA_FILE_EXTN;

} // namespace sync::core::consts
