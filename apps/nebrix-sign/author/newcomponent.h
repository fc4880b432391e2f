// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "apps/nebrix-sign/componentkind.h"
#include "apps/nebrix-sign/errors.h"

/// The start of a component: a directory with one C source, the contract's header and what builds them.
namespace tessel::sign {

/// Whether a component may be called so: a letter, then letters, digits, "-" and "_", 64 in all. It becomes a part of
/// file names, of makefiles and of comments.
bool isComponentName(std::string_view name) noexcept;

/// Writes NAME.c, nebrix_component.h, Makefile and CMakeLists.txt into the directory, which is made; one that is there
/// must be empty. Raises ESign when it is not, when the name will not do, and when a file cannot be written; nothing is
/// left behind then.
void writeNewComponent(ComponentKind kind, const std::string& name, const std::string& directory);

}  // namespace tessel::sign
