// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Behind a member function's parameters: what it returns belongs to the object. clang then refuses to bind it where
/// the object is a temporary; other compilers cannot tell.
#if defined(__clang__)
#define TESSEL_LIFETIMEBOUND [[clang::lifetimebound]]
#else
#define TESSEL_LIFETIMEBOUND
#endif
