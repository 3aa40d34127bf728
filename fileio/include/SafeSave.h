/// Saving that cannot lose a document. docs/reliability.md tells what is promised and what was
/// tried.
#pragma once

#include "Database.h"

namespace kx_gen {

/// Saves everything that `WriteAllHeaders` and `WriteRows` write as the file `path`. Whatever
/// happens meanwhile, a crash included, the file is the whole old or the whole new document: the
/// new one is written to a file of its own in the same folder, brought to the disk, and takes the
/// old one's name in one step.
///
/// - The old file's permissions are kept. Through a link, what it leads to is replaced.
/// - A database that is open on `path`, in whatever mode, is open on the new file afterwards, in
///   the same mode and at its beginning, as if it had just been opened: its handle is another one.
/// - A database that is open on another file stays open there, as it was. A closed one stays
///   closed; it may be new (`InitNewDatabase`) and never have had a file.
///
/// What goes wrong is thrown, and then the old file is what it was, byte for byte, the new one is
/// gone, and database and rows are as before. `CFileException*` for what the system refuses: a
/// sharing violation (system error 32) when anybody else has the file open, or when the system does
/// not tell whether; access denied (5) when it must not be written or is no regular file. Message
/// 12 for a header that outgrew its slot; 11 when memory ran out.
KX_API void SaveDatabaseFile(CDatabase& db, const wchar_t* path);
/// The same for a file that must not exist: refused, with system error 80, when it does, also when
/// it came to be at the last moment.
KX_API void SaveNewDatabaseFile(CDatabase& db, const wchar_t* path);

}  // namespace kx_gen
