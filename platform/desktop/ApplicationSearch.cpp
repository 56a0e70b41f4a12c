#include "platform/desktop/ApplicationSearch.h"

#include "platform/text/Folding.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <functional>

namespace tavik {

namespace {

using Names = std::vector<std::string>;

Names shownNames(const InstalledApplication& app) {
    return {app.displayName, app.name, app.plainName};
}

using NamesOf = Names (*)(const InstalledApplication&);

// What people call an application, and what machines do.
constexpr NamesOf namesForPeople[] = {
    shownNames,
    [](const InstalledApplication& app) {
        return Names{app.genericName, app.plainGenericName};
    },
};
constexpr NamesOf namesForMachines[] = {
    [](const InstalledApplication& app) { return Names{app.executable}; },
    [](const InstalledApplication& app) { return Names{app.id}; },
    [](const InstalledApplication& app) { return Names{app.shortId()}; },
};

std::string spaced(const std::string& name) {
    return joined(words(folded(name)), " ");
}

// People who speak do not say where a name has a blank: "Libre Office".
std::string compact(const std::string& name) {
    return joined(words(folded(name)), "");
}

bool hasName(const Names& names, const std::string& compactName) {
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& name) { return compact(name) == compactName; });
}

enum class Part { beginning, insideAtWord };

bool hasPart(const InstalledApplication& app, const std::string& spacedName, Part part) {
    const Names names = shownNames(app);
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        const auto position = (" " + spaced(name)).find(" " + spacedName);
        return part == Part::beginning ? position == 0 : position != std::string::npos;
    });
}

using Fits = std::function<bool(const InstalledApplication&)>;

const InstalledApplication* firstThat(const InstalledApplications& applications, const Fits& fits) {
    const auto found =
        std::find_if(applications.begin(), applications.end(),
                     [&](const InstalledApplication& app) { return app.isShown && fits(app); });
    return found == applications.end() ? nullptr : &*found;
}

const InstalledApplication* onlyOneThat(const InstalledApplications& applications,
                                        const Fits& fits) {
    const InstalledApplication* const first = firstThat(applications, fits);
    const bool hasAnother = first && firstThat(applications, [&](const InstalledApplication& app) {
                                return &app != first && fits(app);
                            });
    return hasAnother ? nullptr : first;
}

} // namespace

const InstalledApplication* findApplication(const InstalledApplications& applications,
                                            const std::string& spokenName) {
    const std::string compactName = compact(spokenName);
    if (compactName.empty())
        return nullptr;
    const auto isCalled = [&](NamesOf namesOf) {
        return [namesOf, &compactName](const InstalledApplication& candidate) {
            return hasName(namesOf(candidate), compactName);
        };
    };
    for (const NamesOf namesOf : namesForPeople)
        if (const auto* app = firstThat(applications, isCalled(namesOf)))
            return app;
    for (const NamesOf namesOf : namesForMachines)
        if (const auto* app = onlyOneThat(applications, isCalled(namesOf)))
            return app;
    for (const Part part : {Part::beginning, Part::insideAtWord})
        if (const auto* app = onlyOneThat(applications, [&](const InstalledApplication& candidate) {
                return hasPart(candidate, spaced(spokenName), part);
            }))
            return app;
    return nullptr;
}

} // namespace tavik
