#pragma once

#include "ui/UiServices.h"
#include "ui/widgets/Section.h"

namespace tavik {

// What Tavik hears and how it sounds.
class VoicePage : public Page {
public:
    explicit VoicePage(UiServices& services);
};

} // namespace tavik
