#pragma once

#include <xcb/xcb.h>

namespace orbi::platform {

// A member for each, and the name by which the server knows it.
// clang-format off
#define ORBI_X11_ATOMS(use)                                                                        \
  use(clipboard, "CLIPBOARD")                                                                      \
  use(incr, "INCR")                                                                                \
  use(motifHints, "_MOTIF_WM_HINTS")                                                               \
  use(netActiveWindow, "_NET_ACTIVE_WINDOW")                                                       \
  use(netCurrentDesktop, "_NET_CURRENT_DESKTOP")                                                   \
  use(netFrameExtents, "_NET_FRAME_EXTENTS")                                                       \
  use(netRequestFrameExtents, "_NET_REQUEST_FRAME_EXTENTS")                                        \
  use(netStartupId, "_NET_STARTUP_ID")                                                             \
  use(netStartupInfo, "_NET_STARTUP_INFO")                                                         \
  use(netStartupInfoBegin, "_NET_STARTUP_INFO_BEGIN")                                              \
  use(netSupportingWmCheck, "_NET_SUPPORTING_WM_CHECK")                                            \
  use(netWmIcon, "_NET_WM_ICON")                                                                   \
  use(netWmName, "_NET_WM_NAME")                                                                   \
  use(netWmIconName, "_NET_WM_ICON_NAME")                                                          \
  use(netWmPid, "_NET_WM_PID")                                                                     \
  use(netWmPing, "_NET_WM_PING")                                                                   \
  use(netWmState, "_NET_WM_STATE")                                                                 \
  use(netWmStateAbove, "_NET_WM_STATE_ABOVE")                                                      \
  use(netWmStateDemandsAttention, "_NET_WM_STATE_DEMANDS_ATTENTION")                               \
  use(netWmStateFullscreen, "_NET_WM_STATE_FULLSCREEN")                                            \
  use(netWmStateHidden, "_NET_WM_STATE_HIDDEN")                                                    \
  use(netWmStateMaximizedHorz, "_NET_WM_STATE_MAXIMIZED_HORZ")                                     \
  use(netWmStateMaximizedVert, "_NET_WM_STATE_MAXIMIZED_VERT")                                     \
  use(netWmStateModal, "_NET_WM_STATE_MODAL")                                                      \
  use(netWmStateSkipPager, "_NET_WM_STATE_SKIP_PAGER")                                             \
  use(netWmStateSkipTaskbar, "_NET_WM_STATE_SKIP_TASKBAR")                                         \
  use(netWmUserTime, "_NET_WM_USER_TIME")                                                          \
  use(netWmWindowOpacity, "_NET_WM_WINDOW_OPACITY")                                                \
  use(netWmWindowType, "_NET_WM_WINDOW_TYPE")                                                      \
  use(netWmWindowTypeDialog, "_NET_WM_WINDOW_TYPE_DIALOG")                                         \
  use(netWmWindowTypeNormal, "_NET_WM_WINDOW_TYPE_NORMAL")                                         \
  use(netWmWindowTypePopupMenu, "_NET_WM_WINDOW_TYPE_POPUP_MENU")                                  \
  use(netWmWindowTypeUtility, "_NET_WM_WINDOW_TYPE_UTILITY")                                       \
  use(netWorkArea, "_NET_WORKAREA")                                                                \
  use(ownText, "_ORBI_TEXT")                                                                       \
  use(ownFiles, "_ORBI_FILES")                                                                     \
  use(targets, "TARGETS")                                                                          \
  use(text, "TEXT")                                                                                \
  use(textUriList, "text/uri-list")                                                                \
  use(utf8String, "UTF8_STRING")                                                                   \
  use(wmChangeState, "WM_CHANGE_STATE")                                                            \
  use(wmClientLeader, "WM_CLIENT_LEADER")                                                          \
  use(wmDeleteWindow, "WM_DELETE_WINDOW")                                                          \
  use(wmProtocols, "WM_PROTOCOLS")                                                                 \
  use(wmState, "WM_STATE")                                                                         \
  use(wmTakeFocus, "WM_TAKE_FOCUS")                                                                \
  use(xdndActionList, "XdndActionList")                                                            \
  use(xdndActionCopy, "XdndActionCopy")                                                            \
  use(xdndAware, "XdndAware")                                                                      \
  use(xdndDrop, "XdndDrop")                                                                        \
  use(xdndEnter, "XdndEnter")                                                                      \
  use(xdndFinished, "XdndFinished")                                                                \
  use(xdndLeave, "XdndLeave")                                                                      \
  use(xdndPosition, "XdndPosition")                                                                \
  use(xdndSelection, "XdndSelection")                                                              \
  use(xdndStatus, "XdndStatus")                                                                    \
  use(xdndTypeList, "XdndTypeList")
// clang-format on

/// Names that the server and other clients know by number.
struct X11Atoms {
#define ORBI_X11_ATOM(member, name) xcb_atom_t member = XCB_ATOM_NONE;
  ORBI_X11_ATOMS(ORBI_X11_ATOM)
#undef ORBI_X11_ATOM
};

} // namespace orbi::platform
