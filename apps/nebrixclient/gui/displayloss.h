// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace nebrix::gui {

/// Has `lost` called when the X server or the Wayland compositor is gone, instead of the process being ended at once.
/// It is called on the GUI thread, from within whatever asked the X server for something or from the event loop, and
/// must ask for nothing more; when it returns, the process ends. Once the toolkit has started.
void onDisplayLoss(void (*lost)());

}  // namespace nebrix::gui
