// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <wx/string.h>

#include <memory>

class wxDialog;
class wxMenuItem;
class wxWindow;

/// What the program asks of the desktop beyond wxWidgets: display server, processes, locale, GTK. (The controls that
/// need GTK for themselves, the tray and the buses are files of their own.)
/// Of the GUI thread, unless a function says otherwise.
namespace nebrix::gui::desktop {

/// Before the toolkit starts: on Wayland lets X11 through XWayland go first where there is one, since only there a
/// window may choose its place.
void preferX11();

/// Before the toolkit starts: keeps GTK from looking for OpenGL, which nothing here is drawn with. Where it is the
/// first program of GTK's on an X server, as on Plasma or under XWayland, it would load the graphics driver to ask what
/// that can do, and keep it: 50 MiB of memory, 10 of them its own, and a start that takes half as long again. A user's
/// own GDK_GL stays as it is.
void startWithoutOpenGl();

/// Once the toolkit has started: programs that are started from here decide about OpenGL themselves.
void leaveOpenGlToOthers();

/// Before the toolkit starts and while there is one thread: gives each variable that is set later its place in the
/// environment. From then on nothing moves there that another thread reads, as with a variable that is added or taken
/// away: that ends the program once in some hundred starts.
void settleEnvironment();

/// Before the toolkit starts: one heap for all threads, which gives back what is freed at its end. Start-up frees much,
/// and afterwards no thread allocates often enough to wait for another.
void keepHeapSmall();

/// Before the toolkit starts, and once the environment is settled: has another thread read the fonts' configuration,
/// for which the first text would wait.
void readFontsAhead();

/// Makes the process one without an entry among the running applications. Here nothing is needed: windows say it of
/// themselves.
void becomeUserInterfaceElement();

/// Makes the C library's conversions UTF-8 unless they are already: without it no accent survives in a session whose
/// locale is "C" or not installed.
void useUtf8();

/// Whether the C library has the locale of this name, such as "de_AT", in UTF-8.
bool isLocaleInstalled(const char* name);

/// Lets GTK's own texts (stock buttons, the file dialog) follow this language code too, also when the language's
/// system locale is not installed. Once the environment is settled.
void useLanguage(const char* code);

/// Lets menus show the images of their entries, which GTK leaves out unless told otherwise.
void showMenuImages();

/// Keeps scroll bars in view: one that is seen only while it moves does not tell that there is more.
void showScrollBars();

/// Leaves the shortcut out that GTK shows beside an entry with a stock identifier: a tray menu has none. For an entry
/// that is in its menu.
void hideShortcut(const wxMenuItem& entry);

/// Lifts the limit on core files, soft and hard; a failure is ignored.
void allowCoreDumps();

/// Asks the process of this user that holds the lock file to show itself, by SIGUSR1; does nothing when nobody holds
/// it. The kernel names the holder, not the file's content.
void askLockHolder(const wxString& lockFile);

/// Ends the process at once with this status, without destructors or exit handlers: for a component that blocks.
[[noreturn]] void abandonProcess(int status);

/// Keeps a small status window out of task bar, window switcher and pager, and from taking the keyboard, by whatever
/// the desktop has for that. On Wayland itself it may also be put into the top right corner of the screen. For a window
/// that was never shown.
void makeNotification(wxWindow& window);

/// Has a window that the user asked for, perhaps through another program's menu, get the keyboard, now or when it is
/// first shown: to the window manager it looks older than what was last typed into.
void takeKeyboard(wxWindow& window);

/// Ends a dialog's modal run as its close control would, also a native one.
void endModal(wxDialog& dialog);

/// Lets the program outlive the X server's errors, which are logged: the tray's window and those in it are another
/// program's, and it may crash at any moment. Once GTK has started.
void surviveXErrors();

/// Keeps the widgets of the tray icon that was just made for as long as the result lives: a tray that crashes destroys
/// them, and GTK's icon uses them once more when it goes.
std::shared_ptr<void> holdTrayWidgets();

/// Whether a menu can open without a click on a window of ours: on X11, and not on Wayland.
bool canPopUpAnywhere();

/// For a pop-up menu under XWayland, whose programs hear only of clicks and keys in windows of their own: has all of
/// them come to this program, by a window over the whole screen that cannot be seen, until the result goes. Null
/// elsewhere.
std::shared_ptr<void> catchInput();

/// Whether the program knows where on the screen its windows are: on X11, and not on Wayland.
bool knowsPlaces();

/// Takes an open pop-up menu down; whether there was one.
bool closePopupMenu();

}  // namespace nebrix::gui::desktop
