/* An instrument whose editor is a plain area, and which writes down what it is told.
 *
 * EDITOR names a fault, see `faults`; without one it does nothing wrong. EDITOR_LOG names the file
 * for its notes, a line for each call that a user's doings bring about.
 */
#include "orb/orb.h"

#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <xcb/xcb.h>

enum { width = 200, height = 120, colour = 0xC03060 };

typedef enum Fault {
  none,
  crashAtOpen,
  crashAtIdle,
  crashAtKey,
  crashAtClose,
  noRectangle,
  zeroSize,
  hugeSize,
  negativeSize,
  destroyChild,
  resizeChild
} Fault;

static const struct {
  const char* name;
  Fault fault;
} faults[] = {{"open", crashAtOpen},   {"idle", crashAtIdle},      {"key", crashAtKey},
              {"close", crashAtClose}, {"norect", noRectangle},    {"zero", zeroSize},
              {"huge", hugeSize},      {"negative", negativeSize}, {"destroy", destroyChild},
              {"resize", resizeChild}};

static Fault fault;
static FILE* notes;
static xcb_connection_t* display;
static xcb_window_t area;

static void note(const char* format, ...)
{
  va_list arguments;
  if (!notes)
    return;
  va_start(arguments, format);
  vfprintf(notes, format, arguments);
  va_end(arguments);
  fflush(notes);
}

static void readEnvironment(void)
{
  const char* wanted = getenv("EDITOR");
  const char* path = getenv("EDITOR_LOG");
  for (size_t i = 0; wanted && i < sizeof faults / sizeof *faults; ++i)
    if (strcmp(faults[i].name, wanted) == 0)
      fault = faults[i].fault;
  notes = path ? fopen(path, "a") : NULL;
}

static void crashIf(Fault here)
{
  volatile int* volatile nowhere = NULL;
  if (fault == here) {
    note("crash\n");
    *nowhere = 1;
  }
}

/* ---- the editor ---- */

static int64_t tellRect(OrbRect** rect)
{
  static OrbRect told = {0, 0, height, width};
  if (fault == noRectangle)
    return 0;
  if (fault == zeroSize)
    told.bottom = told.right = 0;
  else if (fault == hugeSize)
    told.bottom = told.right = INT16_MAX;
  else if (fault == negativeSize)
    told.bottom = told.right = INT16_MIN;
  *rect = &told;
  return 1;
}

static int64_t openEditor(void* window)
{
  note("open %s\n", window ? "window" : "nowhere");
  crashIf(crashAtOpen);
  display = xcb_connect(NULL, NULL);
  if (xcb_connection_has_error(display))
    return 0;
  area = (xcb_window_t)(uintptr_t)window;
  if (fault == resizeChild) {
    const uint32_t size[] = {2000, 3};
    xcb_configure_window(display, area, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
  } else if (fault == destroyChild) {
    xcb_destroy_window(display, area);
  } else {
    const uint32_t ground = colour;
    xcb_change_window_attributes(display, area, XCB_CW_BACK_PIXEL, &ground);
    xcb_clear_area(display, 0, area, 0, 0, 0, 0);
  }
  xcb_flush(display);
  return 1;
}

static int64_t idleEditor(void)
{
  static int calls;
  if (++calls == 3) {
    note("idle\n");
    crashIf(crashAtIdle);
  }
  return 1;
}

static int64_t closeEditor(void)
{
  note("close\n");
  crashIf(crashAtClose);
  if (display)
    xcb_disconnect(display);
  display = NULL;
  return 1;
}

/* ---- what the menus ask and want ---- */

/* The first about box is left to the host. */
static int64_t answerHost(int64_t tag, float opt)
{
  static int abouts;
  switch (tag) {
  case orbHasDefaultBank:
  case orbHasHelp:
  case orbHasAbout:
    return 1;
  case orbSaveDefaultBank:
  case orbShowHelp:
  case orbShowAbout:
    note("wants %x %d\n", (unsigned)tag, (int)opt);
    return tag != orbShowAbout || ++abouts > 1;
  case orbWheel:
    note("wheel %d\n", (int)opt);
    return 1;
  default:
    return 0;
  }
}

/* ---- the rest ---- */

static void hear(const OrbEventList* list)
{
  for (int32_t i = 0; i < list->count; ++i)
    note("midi %d %d\n", list->events[i]->status, list->events[i]->data1);
}

static int64_t dispatch(OrbEffect* effect, int32_t opcode, int32_t index, int64_t value, void* ptr,
                        float opt)
{
  (void)effect;
  switch (opcode) {
  case opCanDo:
    return strcmp((const char*)ptr, "receiveOrbMidiEvent") == 0;
  case opGetProductString:
    strcpy((char*)ptr, "Editor \xC3\xBC");
    return 1;
  case opEditorGetRect:
    return tellRect((OrbRect**)ptr);
  case opEditorOpen:
    return openEditor(ptr);
  case opEditorIdle:
    return idleEditor();
  case opEditorClose:
    return closeEditor();
  case opEditorKeyDown:
    note("key %d %d %d\n", index, (int)value, (int)opt);
    crashIf(crashAtKey);
    return index != 0 && opt < 2.0f; /* what a text field would take */
  case opVendorSpecific:
    return index == orbHostTag ? answerHost(value, opt) : 0;
  case opProcessEvents:
    hear((const OrbEventList*)ptr);
    return 0;
  default:
    return 0;
  }
}

static void process(OrbEffect* effect, float** inputs, float** outputs, int32_t frames)
{
  (void)effect, (void)inputs;
  for (int i = 0; i < 2; ++i)
    memset(outputs[i], 0, (size_t)frames * sizeof(float));
}

static void setParameter(OrbEffect* effect, int32_t index, float value)
{
  (void)effect, (void)index, (void)value;
}

static float getParameter(OrbEffect* effect, int32_t index)
{
  (void)effect, (void)index;
  return 0.0f;
}

ORB_EXPORT OrbEffect* ORBPluginMain(OrbHostCallback host);

OrbEffect* ORBPluginMain(OrbHostCallback host)
{
  static OrbEffect effect;
  (void)host;
  readEnvironment();
  effect.magic = orbMagic;
  effect.dispatcher = dispatch;
  effect.processAccumulating = effect.processReplacing = process;
  effect.setParameter = setParameter;
  effect.getParameter = getParameter;
  effect.numOutputs = 2;
  effect.flags = orbHasReplacing;
  return &effect;
}
