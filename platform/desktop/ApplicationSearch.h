#pragma once

#include "platform/desktop/InstalledApplication.h"

#include <string>

namespace tavik {

// The shown application that a person means by `spokenName`; of several with the same name the
// first. None when nothing fits, or when a program's name or a mere part of a name fits several.
// Case, accents, blanks and punctuation make no difference.
const InstalledApplication* findApplication(const InstalledApplications& applications,
                                            const std::string& spokenName);

} // namespace tavik
