// Repositories first, then caches, then containers; see packages.h.
#include "node/qxtt/packages.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <utility>

#include "node/kr/database.h"
#include "node/qxtt/templates.h"
#include "node/support/failure.h"

namespace qxtt {

using qxnode::Failure;

namespace {

using qxnode::KrManifest;
using qxnode::KrRepository;
using qxnode::OnPackage;
using qxnode::Packaging;

const Packaging* packagingOf(const std::string& os) {
    try {
        return osTemplate(os).packaging;
    } catch (const Failure&) {
        return nullptr;  // the container goes on without its template's metadata
    }
}

/// Sorts by name and architecture; of equal ones the newest comes first.
class ListingOrder {
public:
    explicit ListingOrder(const Packaging& packaging) : m_packaging(packaging) {}

    bool operator()(const Package& a, const Package& b) const {
        const auto left = std::tie(a.name, a.architecture);
        const auto right = std::tie(b.name, b.architecture);
        return left != right ? left < right : m_packaging.compareVersions(a.version, b.version) > 0;
    }

private:
    const Packaging& m_packaging;
};

/// Packages in the local repositories of an OS template that its containers can install.
/// Repositories that need the network are skipped.
void readRepositories(const KrManifest& os, const OnPackage& onPackage) {
    for (const KrRepository& repository : os.repositories) {
        if (!repository.needsNetwork()) {
            os.packaging->readRepository(repository, os, [&](Package&& package) {
                package.origin = repository.url;
                onPackage(std::move(package));
            });
        }
    }
}

bool isSamePackage(const Package& a, const Package& b) {
    return a.name == b.name && a.architecture == b.architecture;
}

/// Of packages with one name, those of the template's architecture or of none come first.
void sortFound(std::vector<Package>& packages, const KrManifest& os) {
    const auto foreign = [&](const Package& package) {
        return package.architecture != os.architecture &&
               package.architecture != os.packaging->anyArchitecture;
    };
    std::stable_sort(packages.begin(), packages.end(), [&](const Package& a, const Package& b) {
        if (foreign(a) != foreign(b)) {
            return foreign(b);
        }
        return os.packaging->compareVersions(a.version, b.version) > 0;
    });
}

/// Asks sources one after the other until one knows the package. A failure counts only if no source
/// knows it.
class Search {
public:
    Search(KrManifest os, std::string name) : m_os(std::move(os)), m_name(std::move(name)) {}

    template <typename Source>
    void ask(const Source& source) {
        if (!m_found.empty()) {
            return;
        }
        try {
            source();
        } catch (const Failure& failure) {
            m_found.clear();
            if (!m_failure) {
                m_failure = failure;
            }
        }
    }

    void askRepositories() {
        readRepositories(m_os, [&](Package&& package) {
            if (package.name == m_name) {
                m_found.push_back(std::move(package));
            }
        });
    }

    void askDatabase(const std::string& root, const std::string& origin) {
        m_found = qxnode::listDatabase({root, m_os.packaging, m_name, true});
        for (Package& package : m_found) {
            package.origin = origin;
        }
    }

    std::vector<Package> result() {
        if (m_found.empty() && m_failure) {
            throw Failure(*m_failure);
        }
        sortFound(m_found, m_os);
        return std::move(m_found);
    }

    [[nodiscard]] const KrManifest& os() const { return m_os; }

private:
    KrManifest m_os;
    std::string m_name;
    std::vector<Package> m_found;
    std::optional<Failure> m_failure;
};

/// A container that cannot be read is skipped: another container of the OS may know the package.
void askContainer(Search& search, int veid) {
    std::optional<Container> container;
    try {
        container = containerOf(veid);
    } catch (const Failure&) {
        return;
    }
    if (container->osName == search.os().name && hasPrivateArea(*container)) {
        search.askDatabase(container->root, "container " + std::to_string(veid));
    }
}

}  // namespace

std::vector<Package> packagesOfContainer(int veid) {
    const Container container = containerOf(veid);
    const auto packaging = packagingOf(container.osName);
    auto packages = qxnode::listDatabase({container.root, packaging, "", false});
    std::stable_sort(
        packages.begin(), packages.end(),
        ListingOrder(packaging != nullptr ? *packaging : *qxnode::packagings().front()));
    return packages;
}

std::vector<Package> packagesOfTemplate(std::string_view os) {
    const KrManifest manifest = osTemplate(os);
    std::vector<Package> packages;
    readRepositories(manifest, [&](Package&& package) {
        package.description.clear();
        packages.push_back(std::move(package));
    });
    std::stable_sort(packages.begin(), packages.end(), ListingOrder(*manifest.packaging));
    packages.erase(std::unique(packages.begin(), packages.end(), isSamePackage), packages.end());
    return packages;
}

std::vector<Package> findPackages(std::string_view os, const std::string& name) {
    Search search(osTemplate(os), name);
    search.ask([&] { search.askRepositories(); });
    search.ask([&] {
        if (const auto root = cacheRoot(os)) {
            search.askDatabase(*root, "cache of " + search.os().name);
        }
    });
    for (const int veid : containerNumbers()) {
        search.ask([&] { askContainer(search, veid); });
    }
    return search.result();
}

}  // namespace qxtt
