#pragma once

namespace nebrix::gui {

/// Has `lost` called when the X server is gone, instead of the process being ended at once; on other display servers
/// nothing changes. It is called on the GUI thread, from within whatever asked the server for something, and must ask
/// it for nothing more; when it returns, the process ends. Once the toolkit has started.
void onDisplayLoss(void (*lost)());

}  // namespace nebrix::gui
