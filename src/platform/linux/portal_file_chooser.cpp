#include "platform/file_chooser.h"
#include "platform/linux/dbus_arguments.h"
#include "platform/linux/file_uri.h"
#include "platform/linux/session_bus.h"
#include "platform/run_loop.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

// The desktop's file dialog is shown by its portal, a service on the session's bus.

namespace orbi::platform {

namespace {

constexpr const char* portalName = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* chooserFace = "org.freedesktop.portal.FileChooser";
constexpr const char* requestFace = "org.freedesktop.portal.Request";
constexpr const char* requestFolder = "/org/freedesktop/portal/desktop/request/";
constexpr const char* token = "orbiplayer";    // one question a connection
constexpr std::uint32_t versionWithFolder = 4; ///< from which a file to open is asked for in one
constexpr int patience = 3000; ///< milliseconds that the bus and the portal have for each answer

enum Response : std::uint32_t { responseChosen = 0, responseCancelled = 1 };

/// The portal compares case.
std::string patternOf(const std::string& extension)
{
  std::string result = extension.empty() ? "*" : "*.";
  for (const char c : extension) {
    const auto code = static_cast<unsigned char>(c);
    const char lower = static_cast<char>(std::tolower(code));
    const char upper = static_cast<char>(std::toupper(code));
    if (lower == upper)
      result += c;
    else
      result.append({'[', lower, upper, ']'});
  }
  return result;
}

std::string parentOf(const void* window)
{
  char text[32] = "";
  if (window != nullptr)
    std::snprintf(text, sizeof text, "x11:%zx", reinterpret_cast<std::size_t>(window));
  return text;
}

/// Where the portal keeps a request of the client with this name.
std::string requestPathOf(std::string client)
{
  client.erase(0, 1); // the colon
  std::ranges::replace_if(
      client, [](unsigned char c) { return c >= 0x80 || std::isalnum(c) == 0; }, '_');
  return requestFolder + client + '/' + token;
}

void writeFilter(DBusWriter& place, const FileChooserQuestion::Filter& filter)
{
  constexpr std::uint32_t glob = 0;
  place.container(dbusStructure, nullptr, [&](DBusWriter& entry) {
    entry.text(filter.name);
    entry.container(dbusArray, "(us)", [&](DBusWriter& patterns) {
      patterns.container(dbusStructure, nullptr, [&](DBusWriter& pattern) {
        pattern.number(glob);
        pattern.text(patternOf(filter.extension));
      });
    });
  });
}

/// One conversation with the portal: is it there, show a dialog, what was chosen.
class PortalFileChooser final : public FileChooser, private SessionBusListener {
public:
  PortalFileChooser(FileChooserQuestion question, Answered answered)
      : question_(std::move(question)), answered_(std::move(answered))
  {
  }
  ~PortalFileChooser() override;
  bool open();

private:
  using Outcome = FileChooserAnswer::Outcome;
  enum class Stage { signingOn, askingVersion, calling, showing, answered };

  void busMessage(DBusMessage& message) override;
  void busLost() override { endWithout(); }
  void takeReply(DBusMessage& message);
  void takeSignal(DBusMessage& message);
  void takeResponse(DBusMessage& message);
  void askVersion(const std::string& ownName);
  void call(std::uint32_t version);
  void writeOptions(DBusWriter& options, std::uint32_t version) const;
  void listenAt(const std::string& request);
  void await(Stage stage, std::uint32_t serial);
  void stopWaiting();
  void closeRequest();
  void endWithout();
  void answer(Outcome outcome, std::filesystem::path file = {});

  FileChooserQuestion question_;
  Answered answered_;
  SessionBus bus_{*this};
  const DBusLibrary& dbus_ = bus_.library();
  Stage stage_ = Stage::signingOn;
  std::uint32_t awaited_ = 0; ///< serial number of the call whose answer leads on
  RunLoop::TimerId timer_ = 0;
  std::string portal_;  ///< the service's own name, under which its signals come
  std::string request_; ///< path of the dialog's object
};

// Life

bool PortalFileChooser::open()
{
  const std::uint32_t hello = bus_.open();
  if (hello == 0)
    return false;
  await(Stage::signingOn, hello);
  return true;
}

PortalFileChooser::~PortalFileChooser()
{
  stopWaiting();
  closeRequest();
}

/// The next step is this call's answer, which has to come in time.
void PortalFileChooser::await(Stage stage, std::uint32_t serial)
{
  stopWaiting();
  stage_ = stage;
  awaited_ = serial;
  timer_ = RunLoop::instance()->addTimer(patience, [this] { endWithout(); });
}

void PortalFileChooser::stopWaiting()
{
  RunLoop* loop = RunLoop::instance();
  if (loop != nullptr && timer_ != 0)
    loop->removeTimer(timer_);
  timer_ = 0;
}

/// Takes away a dialog that is there or may come yet.
void PortalFileChooser::closeRequest()
{
  if (stage_ != Stage::calling && stage_ != Stage::showing)
    return;
  DBusMessage* call = dbus_.newCall(portalName, request_.c_str(), requestFace, "Close");
  if (call != nullptr)
    dbus_.setNoReply(call, 1);
  bus_.send(call);
}

/// The portal is of no use, or not any more.
void PortalFileChooser::endWithout()
{
  answer(stage_ == Stage::showing ? Outcome::ended : Outcome::unavailable);
}

void PortalFileChooser::answer(Outcome outcome, std::filesystem::path file)
{
  stopWaiting();
  if (stage_ == Stage::answered)
    return;
  if (outcome == Outcome::unavailable)
    closeRequest();
  stage_ = Stage::answered;
  answered_({outcome, std::move(file)});
}

// What comes

void PortalFileChooser::busMessage(DBusMessage& message)
{
  constexpr int returnMessage = 2;
  constexpr int errorMessage = 3;
  const int type = dbus_.messageType(&message);
  const bool isReply = type == returnMessage || type == errorMessage;
  if (!isReply)
    takeSignal(message);
  else if (timer_ == 0 || dbus_.replySerial(&message) != awaited_)
    return;
  else if (type == errorMessage)
    endWithout();
  else
    takeReply(message);
}

void PortalFileChooser::takeReply(DBusMessage& message)
{
  DBusReader arguments(dbus_, message);
  switch (stage_) {
  case Stage::signingOn:
    askVersion(arguments.text().value_or(""));
    break;
  case Stage::askingVersion:
    if (const char* sender = dbus_.sender(&message))
      portal_ = sender;
    call(arguments.inside(dbusVariant).number().value_or(0));
    break;
  case Stage::calling:
    stopWaiting();
    stage_ = Stage::showing;
    if (const auto path = arguments.text(dbusObjectPath); path && *path != request_)
      listenAt(*path); // an old portal names it otherwise
    break;
  default:
    break;
  }
}

void PortalFileChooser::takeSignal(DBusMessage& message)
{
  const char* sender = dbus_.sender(&message);
  const char* path = dbus_.path(&message);
  if (sender == nullptr || path == nullptr)
    return;
  const bool isAsked = stage_ == Stage::calling || stage_ == Stage::showing;
  if (dbus_.isSignal(&message, requestFace, "Response") != 0) {
    if (isAsked && sender == portal_ && path == request_)
      takeResponse(message);
  } else if (dbus_.isSignal(&message, SessionBus::name, "NameOwnerChanged") != 0) {
    DBusReader arguments(dbus_, message);
    const bool isPortal = arguments.text() == portalName;
    const bool isGone =
        isPortal && arguments.text() == portal_ && sender == std::string_view(SessionBus::name);
    if (isAsked && isGone)
      endWithout();
  }
}

/// A portal may find only after its answer, and late, that it lacks what shows its dialogs.
void PortalFileChooser::takeResponse(DBusMessage& message)
{
  DBusReader arguments(dbus_, message);
  const std::uint32_t response = arguments.number().value_or(responseCancelled);
  if (response > responseCancelled)
    return endWithout();
  if (response == responseCancelled)
    return answer(Outcome::cancelled);
  std::filesystem::path file;
  for (DBusReader results = arguments.inside(dbusArray); !results.atEnd();) {
    DBusReader entry = results.inside(dbusEntry);
    if (entry.text() == "uris")
      file = localFile(entry.inside(dbusVariant).inside(dbusArray).text().value_or(""));
  }
  const Outcome outcome = file.empty() ? Outcome::elsewhere : Outcome::chosen;
  answer(outcome, std::move(file));
}

// What goes

void PortalFileChooser::askVersion(const std::string& ownName)
{
  if (ownName.size() < 2)
    return endWithout();
  bus_.match(std::string("type='signal',sender='") + SessionBus::name + "',interface='" +
             SessionBus::name + "',member='NameOwnerChanged',arg0='" + portalName + "'");
  listenAt(requestPathOf(ownName));
  DBusMessage* call =
      dbus_.newCall(portalName, portalPath, "org.freedesktop.DBus.Properties", "Get");
  if (call == nullptr)
    return endWithout();
  DBusWriter arguments(dbus_, *call);
  arguments.text(chooserFace);
  arguments.text("version");
  await(Stage::askingVersion, bus_.send(call));
}

void PortalFileChooser::listenAt(const std::string& request)
{
  request_ = request;
  bus_.match(std::string("type='signal',sender='") + portalName + "',interface='" + requestFace +
             "',member='Response',path='" + request + "'");
}

void PortalFileChooser::call(std::uint32_t version)
{
  DBusMessage* call = version == 0 ? nullptr
                                   : dbus_.newCall(portalName, portalPath, chooserFace,
                                                   question_.saves ? "SaveFile" : "OpenFile");
  if (call == nullptr)
    return endWithout();
  DBusWriter arguments(dbus_, *call);
  arguments.text(parentOf(question_.owner));
  arguments.text(question_.title);
  arguments.container(dbusArray, "{sv}",
                      [&](DBusWriter& options) { writeOptions(options, version); });
  await(Stage::calling, bus_.send(call));
}

void PortalFileChooser::writeOptions(DBusWriter& options, std::uint32_t version) const
{
  const FileChooserQuestion& question = question_;
  const auto text = [&](const char* key, const std::string& value) {
    options.entry(key, "s", [&](DBusWriter& place) { place.text(value); });
  };
  text("handle_token", token);
  text("accept_label", question.acceptLabel);
  options.entry("modal", "b", [](DBusWriter& place) { place.boolean(true); });
  if (!question.filters.empty()) {
    options.entry("filters", "a(sa(us))", [&](DBusWriter& place) {
      place.container(dbusArray, "(sa(us))", [&](DBusWriter& filters) {
        for (const FileChooserQuestion::Filter& filter : question.filters)
          writeFilter(filters, filter);
      });
    });
    options.entry("current_filter", "(sa(us))",
                  [&](DBusWriter& place) { writeFilter(place, question.filters.front()); });
  }
  if (question.saves || version >= versionWithFolder)
    options.entry("current_folder", "ay",
                  [&](DBusWriter& place) { place.bytes(question.folder.native()); });
  if (question.saves && !question.name.empty())
    text("current_name", question.name);
}

} // namespace

std::unique_ptr<FileChooser> openFileChooser(FileChooserQuestion question,
                                             FileChooser::Answered answered)
{
  auto chooser = std::make_unique<PortalFileChooser>(std::move(question), std::move(answered));
  if (!chooser->open())
    return nullptr;
  return chooser;
}

} // namespace orbi::platform
