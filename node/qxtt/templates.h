// The node's KR templates and the containers made from them; failures have this library's codes.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "layout/container_config.h"
#include "node/kr/manifest.h"

namespace qxtt {

using qxnode::KrManifest;

/// A template of the node: its manifest, with values from its OS template or the node for what it
/// does not set.
/// @throws Failure QXTT_E_NO_TEMPLATE, QXTT_E_BAD_TEMPLATE
KrManifest osTemplate(std::string_view os);
KrManifest applicationTemplate(std::string_view os, std::string_view name);

/// Names, with their dots, of the OS templates that can be read.
std::vector<std::string> osTemplateNames();

/// An OS template, then those of its application templates that can be read.
std::vector<KrManifest> templatesOf(std::string_view os);

/// Directory with the files of an OS template's cache; nullopt if it has none.
/// @throws Failure QXTT_E_BAD_TEMPLATE if the file that names the cache is broken.
std::optional<std::string> cacheRoot(std::string_view os);

/// A container of the node that is made from a KR template.
struct Container {
    int veid = 0;
    std::string osName;                  ///< with its dot
    std::vector<std::string> templates;  ///< application templates: dotted, sorted, each once
    std::string root;                    ///< directory with the container's files
};

/// @throws Failure QXTT_E_NO_CONTAINER, QXTT_E_BAD_CONTAINER
Container containerOf(int veid);

/// The templates of a container. If the node lacks a template's metadata or cannot read it, only
/// its names are set, because it is installed all the same.
std::vector<KrManifest> templatesOf(const Container& container);

/// Numbers of the node's containers, ascending.
std::vector<int> containerNumbers();

/// True if the container has a private area.
bool hasPrivateArea(const Container& container);

}  // namespace qxtt
