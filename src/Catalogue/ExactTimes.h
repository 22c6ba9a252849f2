// When recordings began and ended: which of them are asked for it, and what is believed of the
// others.

#ifndef LOCALSTORAGE_CATALOGUE_EXACTTIMES_H
#define LOCALSTORAGE_CATALOGUE_EXACTTIMES_H

#include <optional>
#include <vector>

#include "Catalogue/Catalogue.h"

/// Whether a time is that of a name, which counts in whole seconds and was made with the file.
bool Agree(UtcTime tTime, UtcTime tName);

/// Chooses the recordings that are to be asked when they began and ended, and fills that in for the
/// others. They are sorted, begin and end as their names say, in the client layout with the
/// camera's next one, and have been looked at. Those that may reach into `stWhere` are to be asked:
/// each, or only those that no other one of their camera adjoins, and those at its ends: whether
/// they reach into it names do not tell to the second. Touches no disk.
void ChooseAsked(std::vector<recording>& vRecordings, const std::optional<timeSpan>& stWhere,
                 bool bEach);

/// Asks those that were chosen.
void AskExactTimes(std::vector<recording>& vRecordings);

#endif  // LOCALSTORAGE_CATALOGUE_EXACTTIMES_H
