// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Files of the source tree that are compiled into the program, so that it works alone.
namespace tessel::sign::builtin {

/// sdk/include/nebrix_component.h.
extern const char kComponentHeader[];

/// Of sdk/templates: @NAME@ stands for the component's name, @TYPE@ for its type.
extern const char kTunnel[];
extern const char kNotunnel[];
extern const char kHostchecker[];
extern const char kMakefile[];
extern const char kCMakeLists[];

/// The private half of the development key, which is no secret.
extern const char kDevelopmentKey[];

}  // namespace tessel::sign::builtin
