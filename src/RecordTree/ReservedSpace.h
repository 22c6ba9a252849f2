// Space that recordings of a run which nobody ended still reserve behind their ends.

#ifndef LOCALSTORAGE_RECORDTREE_RESERVEDSPACE_H
#define LOCALSTORAGE_RECORDTREE_RESERVEDSPACE_H

#include <cstddef>
#include <ctime>
#include <string>

/// Gives it back, in the record folder `strFolder`, for files that were written to since `tSince`,
/// when that run began. Nobody may write to them meanwhile. What cannot be read is left alone.
/// Returns how many files gave some back.
std::size_t GiveBackReservedSpace(const std::string& strFolder, std::time_t tSince);

#endif  // LOCALSTORAGE_RECORDTREE_RESERVEDSPACE_H
