#pragma once

#include "hosts/linux/codesign/BundleDirectory.h"
#include "hosts/linux/codesign/CodeResources.h"
#include "hosts/linux/codesign/HashType.h"
#include "hosts/posix/WorkQueue.h"

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace InstallerCore::CodeSign {

// Holds a bundle's entries against its seals.
class ResourceCheck {
public:
    // Verifies the code at that entry, which has to meet the requirement.
    using Nested = std::function<void(const BundleDirectory& directory, const std::string& name,
                                      const std::string& requirement)>;

    // Files have to have the sealed hash of each type. The queue and the resources must outlive this object,
    // and what it pushes.
    ResourceCheck(WorkQueue& queue, const CodeResources& resources, std::set<HashType> types,
                  std::string mainExecutable, Nested nested)
        : queue_(queue),
          resources_(resources),
          types_(std::make_shared<const std::set<HashType>>(std::move(types))),
          mainExecutable_(std::move(mainExecutable)),
          nested_(std::move(nested)) {}

    // Every entry is sealed or need not be, and every seal has its entry. The contents of files are pushed to
    // the queue. Throws SignatureError.
    void run(const BundleDirectory& base);

private:
    void directory(const BundleDirectory& directory, const std::string& prefix, unsigned depth);
    void entry(const BundleDirectory& directory, const std::string& name, const std::string& prefix,
               unsigned depth);
    void sealed(const BundleDirectory& directory, const std::string& name, EntryKind kind, const Seal& seal);
    void file(const BundleDirectory& directory, const std::string& name, const Seal::File& seal);
    void unsealed(const BundleDirectory& directory, const std::string& name, EntryKind kind,
                  const std::string& prefix, unsigned depth);
    [[nodiscard]] bool isExcluded(const std::string& path) const;

    WorkQueue& queue_;
    const CodeResources& resources_;
    std::shared_ptr<const std::set<HashType>> types_;
    std::string mainExecutable_;
    Nested nested_;
    std::set<std::string> found_; // the paths of seals that have their entry
};

} // namespace InstallerCore::CodeSign
