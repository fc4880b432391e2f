// SPDX-FileCopyrightText: 2026 Nebrix
// SPDX-License-Identifier: MIT
//
// nebrix_component.h: the binary contract between the client and the components it loads.
//
// A component is a shared library that the client fetches from the gateway, checks against its signature
// file, opens with dlopen(3) and drives through the C entries declared here. There are two kinds, each with
// its own table of entries:
//   - a plug-in (a tunnel, or one published resource without one): NebrixDll..., NebrixLaunchSafeResource
//   - a host checker: NebrixInitHostCheckerDll, NebrixCloseHostCheckerDll, NebrixGetValidRules
//
// Compiles as C99 and as C++, and needs nothing but the C standard headers. The names of the entries and
// their signatures are fixed, the trailing 2 of the plug-in entries included: components and clients of
// different age meet, so an entry is never changed, only added.
//
// Conventions. They hold for every entry unless the entry says otherwise. "nebrix-sign check LIBRARY" tries a
// component on those that a program can see, and names them by their numbers and letters here.
//
//  1. Calls from the client. (a) The client calls all entries of one loaded component from one thread, one
//     call at a time; no entry is called while another one runs. The thread need not be the process's first
//     thread. It is the same for one session; a later session may call from another one, so keep nothing
//     that belongs to a thread between sessions. (b) An entry should return within a few milliseconds: long
//     work belongs to a thread of the component. GetValidRules and LaunchSafeResource may take longer;
//     while they run, the session waits. After 30 seconds of these, and 3 of any other entry, the user is
//     told that the component does not answer.
//  2. Calls to the client. The one function of the client that a component may call is the download
//     callback (NebrixDownloadFileTo). It may be called from any thread of the component, also from inside
//     LaunchSafeResource, from DllSetDownloadDelegate2 to the end of the process. It blocks until the
//     transfer ended; concurrent calls wait for each other.
//  3. Encoding. (a) Every string is a sequence of 8-bit bytes ended by NUL, UTF-8 where it is text for
//     people. Paths are the bytes the file system uses. (b) A component must take any bytes: what comes from
//     a gateway is hostile until checked.
//  4. Strings given to an entry belong to the client and are valid only during the call: copy what is to be
//     kept. They are never null; "not given" is the empty string.
//  5. (a) Strings returned by a plug-in (DllGetLogs2, DllGetErrors2) belong to the plug-in. The client copies
//     them at once and gives each back exactly once, through DllReleaseStr of the same library, also an
//     empty one. The client never calls free(3) on these strings. (b) A null result counts as the empty
//     string; DllReleaseStr takes a null pointer too and does nothing.
//  6. (a) The string returned by GetValidRules belongs to the host checker and is copied at once. It is never
//     given back (there is no entry for that): keep it in memory of the host checker's own until its next
//     call. (b) Of more than 1 MiB nothing is posted, and the host check ends.
//  7. Results of setters, of DllStart2, DllStop2, InitHostCheckerDll and CloseHostCheckerDll are ignored.
//     Their types return void; a component whose entry returns an integer instead is loaded and driven
//     alike, on every platform where an integer result travels in a register that the caller does not keep.
//  8. Required and optional entries. A library that lacks a required entry is refused, and nothing of it is
//     called. An optional entry that is missing switches its feature off. Entries beyond the table are
//     ignored.
//  9. Nothing is ever unloaded. Once opened, the library stays in the process to its end: threads may
//     outlive the last call, static data keeps its value, a second session in the same process meets both
//     again. The instance handle is not destroyed either: DllStop2 (CloseHostCheckerDll) is the only sign
//     of the end, and it is not given when the process is killed.
// 10. (a) No exception and no longjmp(3) crosses an entry or the download callback, in either direction. A
//     component written in C++ catches everything inside each entry. It (b) does not end the process, does
//     not change (c) the working directory or the file mode mask, (d) the locale, (e) signal handlers or the
//     signal mask of the thread that calls it, or (f) the environment, and (g) does not write to the
//     standard streams, or close them.
// 11. Constructors of the library run inside dlopen(3), after the signature was checked. What is opened is a
//     copy in memory of the bytes that were checked, so the library has no place in the file system: dladdr(3)
//     tells a path below /proc, and $ORIGIN in a RUNPATH leads nowhere. Files of the component's own lie in the
//     directory that it is given, and libraries that it needs are those of the system.
// 12. Secrets (ticket, session id, passwords of certificate and proxy) never go into (a) a log text, (b) a
//     status text, (c) a file name or (d) the arguments of another process.
// 13. Starts and stops (DllStart2 and DllStop2, InitHostCheckerDll and CloseHostCheckerDll). (a) There may be
//     many of them in one process, one after the other. (b) DllStop2 may come at any moment after the
//     creation: also when a setter or the start failed, or right behind the start. (c) Threads and open files
//     may outlive a stop (convention 9), but they do not become more with each start, and (d) no memory is
//     lost.
// 14. Status lists are described at the end of this header: (a) their form, (b) the members of a message, (c)
//     their length of 1 MiB at most.
#ifndef NEBRIX_COMPONENT_H
#define NEBRIX_COMPONENT_H

#include <stdbool.h>

// Marks the definition of an entry, so that a library built with hidden visibility exports it.
#if defined(_WIN32)
#define NEBRIX_VISIBLE __declspec(dllexport)
#elif defined(__GNUC__)
#define NEBRIX_VISIBLE __attribute__((visibility("default")))
#else
#define NEBRIX_VISIBLE
#endif
#ifdef __cplusplus
#define NEBRIX_EXPORT extern "C" NEBRIX_VISIBLE
#else
#define NEBRIX_EXPORT NEBRIX_VISIBLE
#endif

#ifdef __cplusplus
extern "C" {
#endif

// ---- The download callback ----

// Fetches url into the file local_path through the client's own authenticated HTTPS session, its proxy
// included.
//   url         an absolute URL, or a path on the gateway, then fetched from it over "https"
//   local_path  absolute; missing parent directories are made, an existing file is overwritten
// True only if the whole body arrived with HTTP status 200. After false the file may be absent, empty or
// cut: fetch beside the final name and rename. The component keeps owning both strings. Any thread
// (convention 2).
typedef bool (*NebrixDownloadFileTo)(const char* url, const char* local_path);

// ---- Plug-in entries, in the order in which the client first calls them ----

// Required. Once per session, first of all entries. Returns the instance handle h that every other entry
// but DllReleaseStr receives unchanged, or null for failure, which ends the session.
typedef void* (*NebrixDllCreatePluginFrontal)(void);

// Required. Directly after the creation: the component's version as the gateway announced it, such as
// "2.1.0".
typedef void (*NebrixDllSetDllVersion2)(void* h, const char* version);

// Required. Directly after the version: a directory of this user where the plug-in may keep files. Exists;
// absolute; ends with "/".
typedef void (*NebrixDllSetPluginDir2)(void* h, const char* plugin_dir);

// Required. How to reach the gateway: seven fields joined with "|", empty ones stay empty:
//   use | proxy type | proxy host | login | password | domain | "save:no"
// "0" as use forbids a proxy; this client always says "1". The types "https" (one that is asked with CONNECT),
// "socks4" and "socks5" name the proxy at the host, "host:port", that the gateway was reached through. With "none"
// and no host the choice is the environment's (https_proxy and the like), and so it should be for the plug-in.
// Called before DllStart2; if the client could not know the proxy by then, directly after it. Holds a
// secret.
typedef void (*NebrixDllSetProxy2)(void* h, const char* proxy_description);

// Required, all eleven in this order, before DllStart2, each once per start. May be called again for a
// second start. Not called at all on a plug-in that opens a resource without a tunnel.
//   hostname        the gateway's host as its link writes it, without port: a name, which may be an international
//                   one in UTF-8, or an address, an IPv6 one without brackets
//   server          the server at the tunnel's far end
//   suffix          the client identifier
//   cert_directory  absolute, without final "/"; the two file names that follow are inside it
// Ticket, session id and certificate password are secrets.
typedef void (*NebrixDllSetLogin2)(void* h, const char* login);
typedef void (*NebrixDllSetOrganization2)(void* h, const char* organization);
typedef void (*NebrixDllSetHostname2)(void* h, const char* hostname);
typedef void (*NebrixDllSetServer2)(void* h, const char* server);
typedef void (*NebrixDllSetSuffix2)(void* h, const char* suffix);
typedef void (*NebrixDllSetTicket2)(void* h, const char* ticket);
typedef void (*NebrixDllSetSessionId2)(void* h, const char* session_id);
typedef void (*NebrixDllSetCertDirectory2)(void* h, const char* cert_directory);
typedef void (*NebrixDllSetCertFileName2)(void* h, const char* cert_file_name);
typedef void (*NebrixDllSetCaFileName2)(void* h, const char* ca_file_name);
typedef void (*NebrixDllSetCertPassword2)(void* h, const char* cert_password);

// Required. After the eleven setters, and before every LaunchSafeResource. The pointer stays valid to the
// end of the process.
typedef void (*NebrixDllSetDownloadDelegate2)(void* h, NebrixDownloadFileTo download);

// Optional. After the download callback, once per name of the gateway's list, in its order: one name that
// the server's certificate may bear. Never called when the list is empty.
typedef void (*NebrixDllAddSslServerCertificateName)(void* h, const char* name);

// Required. Starts the work described by the setters and returns without waiting for it.
typedef void (*NebrixDllStart2)(void* h);

// Required. The plug-in's news as a JSON text, the status list described at the end of this header. Polled
// every 500 ms from DllStart2 to DllStop2. Ownership: convention 5.
typedef char* (*NebrixDllGetErrors2)(void* h);

// Required. A log text for people, in a form of the plug-in's own. At any time; after DllStop2 the client takes its
// last 64 KiB over into its own log, line by line. Ownership: convention 5.
typedef char* (*NebrixDllGetLogs2)(void* h);

// Required. A command of the plug-in's own; meaning of the strings and of the result are the plug-in's, the
// result is handed to whoever asked, unchanged. At any time after the creation.
typedef int (*NebrixDllExecute2)(void* h, const char* a, const char* b, const char* c);

// Required. Ends the work; the plug-in should have stopped when this returns.
typedef void (*NebrixDllStop2)(void* h);

// Required. Takes back a string that the plug-in returned. No instance handle.
typedef void (*NebrixDllReleaseStr)(char* text);

// Optional. Opens one published resource without a tunnel: resource_type and name are the gateway's
// "safetype" and "service". The result is handed to the caller; its meaning is the plug-in's. (A missing
// entry gives 0.) The session is over when it returns: what was opened lives on by itself. Neither
// DllStart2 nor DllStop2 is called around it.
typedef int (*NebrixLaunchSafeResource)(void* h, int resource_type, const char* name);

// ---- Host-checker entries; all required ----

// Once per session, first. Five strings: two that are always empty, then the directory in which the host
// checker may keep files (absolute, ends with "/"), the host name and the language that the gateway named.
typedef void (*NebrixInitHostCheckerDll)(const char* unused1, const char* unused2, const char* directory,
                                         const char* hostname, const char* language);

// Again and again, at the gateway's interval: evaluates the request on this machine. The result goes to the
// gateway as it is; its form is a matter between gateway and host checker. Ownership: convention 6.
typedef char* (*NebrixGetValidRules)(const char* request);

// Once per session, last.
typedef void (*NebrixCloseHostCheckerDll)(void);

// ---- The exported names ----

#define NEBRIX_NAME_CREATE_PLUGIN_FRONTAL "DllCreatePluginFrontal"
#define NEBRIX_NAME_SET_DLL_VERSION "DllSetDllVersion2"
#define NEBRIX_NAME_SET_PLUGIN_DIR "DllSetPluginDir2"
#define NEBRIX_NAME_SET_LOGIN "DllSetLogin2"
#define NEBRIX_NAME_SET_ORGANIZATION "DllSetOrganization2"
#define NEBRIX_NAME_SET_HOSTNAME "DllSetHostname2"
#define NEBRIX_NAME_SET_SERVER "DllSetServer2"
#define NEBRIX_NAME_SET_SUFFIX "DllSetSuffix2"
#define NEBRIX_NAME_SET_TICKET "DllSetTicket2"
#define NEBRIX_NAME_SET_SESSION_ID "DllSetSessionId2"
#define NEBRIX_NAME_SET_CERT_DIRECTORY "DllSetCertDirectory2"
#define NEBRIX_NAME_SET_CERT_FILE_NAME "DllSetCertFileName2"
#define NEBRIX_NAME_SET_CA_FILE_NAME "DllSetCaFileName2"
#define NEBRIX_NAME_SET_CERT_PASSWORD "DllSetCertPassword2"
#define NEBRIX_NAME_SET_DOWNLOAD_DELEGATE "DllSetDownloadDelegate2"
#define NEBRIX_NAME_SET_PROXY "DllSetProxy2"
#define NEBRIX_NAME_GET_LOGS "DllGetLogs2"
#define NEBRIX_NAME_EXECUTE "DllExecute2"
#define NEBRIX_NAME_GET_ERRORS "DllGetErrors2"
#define NEBRIX_NAME_START "DllStart2"
#define NEBRIX_NAME_STOP "DllStop2"
#define NEBRIX_NAME_RELEASE_STR "DllReleaseStr"
#define NEBRIX_NAME_LAUNCH_SAFE_RESOURCE "LaunchSafeResource"                         // optional
#define NEBRIX_NAME_ADD_SSL_SERVER_CERTIFICATE_NAME "DllAddSslServerCertificateName"  // optional

#define NEBRIX_NAME_INIT_HOST_CHECKER "InitHostCheckerDll"
#define NEBRIX_NAME_CLOSE_HOST_CHECKER "CloseHostCheckerDll"
#define NEBRIX_NAME_GET_VALID_RULES "GetValidRules"

// ---- The status list returned by DllGetErrors2 ----

// (Convention 14.) A JSON array of message objects, handled in order. Members may be JSON strings or numbers;
// numbers are decimal.
//
//   [{"code": 5, "status": "connected ip=10.0.0.7"}]    status: the tunnel's state as one line of text
//   [{"code": 8, "reason": 3}]                          close request: the plug-in asks for the session's end
//   []                                                  no news
//
// Any other code is ignored, and so are other members. Text that is not such an array, the empty text
// included, is logged and ignored; polling goes on.
//
// Status lines are recognised by their beginning, in lower and upper case as written here; any other line
// is passed on and changes nothing for the user:
//   "init"  "authenticating"  "getconfig"  "reconnecting"   on the way
//   "authError"                                             the gateway did not accept the user
//   "connected"  "connected ip=ADDRESS"                     the tunnel is up; behind "ip=" is its address
// Report the present status in every poll. Once one was reported, a poll without any tells the user that
// the tunnel has stopped.
//
// Close requests: reasons 1, 2 and 4 end the session at once. Every other reason is a wish that ends the
// session when six requests came (about three seconds of polling) without a poll between them that carried
// none; such a poll withdraws the wish.
enum { NEBRIX_MESSAGE_STATUS = 5, NEBRIX_MESSAGE_CLOSE_REQUEST = 8 };
#define NEBRIX_STATUS_INIT "init"
#define NEBRIX_STATUS_AUTHENTICATING "authenticating"
#define NEBRIX_STATUS_GETCONFIG "getconfig"
#define NEBRIX_STATUS_RECONNECTING "reconnecting"
#define NEBRIX_STATUS_AUTH_ERROR "authError"
#define NEBRIX_STATUS_CONNECTED "connected"
#define NEBRIX_STATUS_CONNECTED_IP "connected ip="

#ifdef __cplusplus
}
#endif

#endif  // NEBRIX_COMPONENT_H

// ---- Prototypes for components ----

// A plug-in defines NEBRIX_IMPLEMENT_PLUGIN, a host checker NEBRIX_IMPLEMENT_HOST_CHECKER, before it
// includes this header, also when another header included it already: then the compiler compares each
// definition with its entry, and each is exported.
#if defined(NEBRIX_IMPLEMENT_PLUGIN) && !defined(NEBRIX_COMPONENT_PLUGIN_PROTOTYPES)
#define NEBRIX_COMPONENT_PLUGIN_PROTOTYPES
NEBRIX_EXPORT void* DllCreatePluginFrontal(void);
NEBRIX_EXPORT void DllSetDllVersion2(void* h, const char* version);
NEBRIX_EXPORT void DllSetPluginDir2(void* h, const char* plugin_dir);
NEBRIX_EXPORT void DllSetLogin2(void* h, const char* login);
NEBRIX_EXPORT void DllSetOrganization2(void* h, const char* organization);
NEBRIX_EXPORT void DllSetHostname2(void* h, const char* hostname);
NEBRIX_EXPORT void DllSetServer2(void* h, const char* server);
NEBRIX_EXPORT void DllSetSuffix2(void* h, const char* suffix);
NEBRIX_EXPORT void DllSetTicket2(void* h, const char* ticket);
NEBRIX_EXPORT void DllSetSessionId2(void* h, const char* session_id);
NEBRIX_EXPORT void DllSetCertDirectory2(void* h, const char* cert_directory);
NEBRIX_EXPORT void DllSetCertFileName2(void* h, const char* cert_file_name);
NEBRIX_EXPORT void DllSetCaFileName2(void* h, const char* ca_file_name);
NEBRIX_EXPORT void DllSetCertPassword2(void* h, const char* cert_password);
NEBRIX_EXPORT void DllSetDownloadDelegate2(void* h, NebrixDownloadFileTo download);
NEBRIX_EXPORT void DllSetProxy2(void* h, const char* proxy_description);
NEBRIX_EXPORT int DllExecute2(void* h, const char* a, const char* b, const char* c);
NEBRIX_EXPORT char* DllGetLogs2(void* h);
NEBRIX_EXPORT char* DllGetErrors2(void* h);
NEBRIX_EXPORT void DllStart2(void* h);
NEBRIX_EXPORT void DllStop2(void* h);
NEBRIX_EXPORT void DllReleaseStr(char* text);
NEBRIX_EXPORT int LaunchSafeResource(void* h, int resource_type, const char* name);
NEBRIX_EXPORT void DllAddSslServerCertificateName(void* h, const char* name);
#endif

#if defined(NEBRIX_IMPLEMENT_HOST_CHECKER) && !defined(NEBRIX_COMPONENT_HOST_CHECKER_PROTOTYPES)
#define NEBRIX_COMPONENT_HOST_CHECKER_PROTOTYPES
NEBRIX_EXPORT void InitHostCheckerDll(const char* unused1, const char* unused2, const char* directory,
                                      const char* hostname, const char* language);
NEBRIX_EXPORT void CloseHostCheckerDll(void);
NEBRIX_EXPORT char* GetValidRules(const char* request);
#endif
