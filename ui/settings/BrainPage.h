#pragma once

#include "ui/UiServices.h"
#include "ui/widgets/Section.h"

namespace tavik {

// Who answers: provider, model, effort, length of the answers, and the key.
class BrainPage : public Page {
public:
    explicit BrainPage(UiServices& services);
};

} // namespace tavik
