#include "Journey.h"

#include "cloud/WordErrorRate.h"

#include <httplib.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <thread>

#include "VirtualMicrophone.h"
#include "common/Files.h"
#include "platform/linux/stores/SecretKeychainBackend.h"
#include "stores/Keychain.h"

namespace murvel::e2e {

namespace {

// A client of the service on the port the app under test was built for.
httplib::Client service() {
  httplib::Client client("127.0.0.1", MURVEL_TEST_SERVICE_PORT);
  client.set_read_timeout(10, 0);
  return client;
}

std::string unescapedHtml(std::string text) {
  for (const auto& [entity, character] : std::vector<std::pair<std::string, std::string>>{
           {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&amp;", "&"}}) {
    for (auto at = text.find(entity); at != std::string::npos; at = text.find(entity, at + 1))
      text.replace(at, entity.size(), character);
  }
  return text;
}

// What a browser does with the sign-in page at `path` of the service: submit its form as it
// stands, and the murvel: link it is sent back to.
std::optional<std::string> followSignIn(const std::string& path, std::string& problem) {
  auto client = service();
  const auto page = client.Get(path);
  std::smatch match;
  if (!page || page->status != 200 ||
      !std::regex_search(page->body, match,
                         std::regex(R"re(<form method="post" action="([^"]+)")re"))) {
    problem = "the sign-in page at " + path + " has no form:\n" + (page ? page->body : "");
    return std::nullopt;
  }
  // The form's action is relative to the page.
  const std::string pagePath = path.substr(0, path.find('?'));
  const std::string action = pagePath.substr(0, pagePath.rfind('/') + 1) + match[1].str();
  httplib::Params form;
  const std::regex field(R"re(<input type="hidden" name="([^"]+)" value="([^"]*)")re");
  for (std::sregex_iterator it(page->body.begin(), page->body.end(), field), end; it != end; ++it)
    form.emplace(unescapedHtml((*it)[1]), unescapedHtml((*it)[2]));
  const auto sent = client.Post(action, form);
  if (!sent || !sent->has_header("Location")) {
    problem = "the sign-in form sent to " + action + " led nowhere:\n" + (sent ? sent->body : "");
    return std::nullopt;
  }
  return sent->get_header_value("Location");
}

}  // namespace

std::optional<std::string> signInLink(const std::string& email, std::string& problem) {
  return followSignIn("/api/auth/start?email=" + httplib::detail::encode_query_param(email) +
                          "&redirect_uri=" + httplib::detail::encode_query_param("murvel://auth"),
                      problem);
}

Programs builtPrograms() {
  return {MURVEL_UNDER_TEST, MURVEL_CLOUD, MURVEL_TARGET_WINDOW, MURVEL_TEST_BROWSER};
}

Cloud::Cloud(std::string program, fs::path directory, std::vector<std::string> options)
    : program_(std::move(program)),
      directory_(std::move(directory)),
      options_(std::move(options)) {}

bool Cloud::start() {
  fs::create_directories(directory_);
  // The port may still be held for a moment by a service that was just stopped, or by another
  // test of the machine: try again while the service gives up at once.
  for (int attempt = 0; attempt < 30; ++attempt) {
    std::vector<std::string> command{program_, "--port", std::to_string(MURVEL_TEST_SERVICE_PORT),
                                     "--data-dir", (directory_ / "data").string()};
    command.insert(command.end(), options_.begin(), options_.end());
    process_ = std::make_unique<Process>(command, directory_ / "murvel-cloud.out");
    // Loading the speech model takes a while on a busy machine.
    if (waitFor(
            [&] {
              const auto health = service().Head("/api/health");
              return !process_->running() || (health && health->status == 200);
            },
            60s) &&
        process_->running())
      return true;
    std::this_thread::sleep_for(2s);
  }
  return false;
}

std::string Cloud::log() const {
  return readWholeFile(directory_ / "murvel-cloud.out").value_or("");
}

TargetWindow::TargetWindow(const std::string& program, const fs::path& directory)
    : textFile_(directory / "target.txt"),
      process_({program, textFile_.string()}, directory / "target.out") {}

bool TargetWindow::focus() {
  const std::string id = "$(xdotool search --sync --pid " + std::to_string(process_.pid()) +
                         " --name '^Target$' | head -n1)";
  return waitFor([&] { return run("xdotool windowactivate --sync " + id + " 2>/dev/null"); },
                 10s) &&
         click(frame().center());
}

std::string TargetWindow::text() const {
  return readWholeFile(textFile_).value_or("");
}

QRect TargetWindow::frame() const {
  const std::string geometry = output("xdotool search --pid " + std::to_string(process_.pid()) +
                                      " --name '^Target$' getwindowgeometry --shell 2>/dev/null");
  std::smatch m;
  std::regex_search(geometry, m, std::regex(R"(X=(\d+)\s+Y=(\d+)\s+WIDTH=(\d+)\s+HEIGHT=(\d+))"));
  return m.empty() ? QRect()
                   : QRect(std::stoi(m[1]), std::stoi(m[2]), std::stoi(m[3]), std::stoi(m[4]));
}

double wordErrorRate(const std::string& said, const std::string& heard) {
  return cloud::wordErrors(cloud::scoredWords(said), cloud::scoredWords(heard)).rate();
}

std::optional<Instant> speakWhileHeld(const fs::path& wav, const std::string& key) {
  if (!keys("keydown " + key))
    return std::nullopt;
  const bool said = test::say(wav);
  std::this_thread::sleep_for(300ms);
  const bool released = keys("keyup " + key);
  const Instant now = std::chrono::steady_clock::now();
  if (!said || !released)
    return std::nullopt;
  return now;
}

std::optional<Instant> speakWhileHeldOnWayland(const fs::path& wav, const fs::path& work) {
  std::ifstream header(wav, std::ios::binary);
  std::uint32_t bytesPerSecond = 0;
  header.seekg(28);
  header.read(reinterpret_cast<char*>(&bytesPerSecond), sizeof bytesPerSecond);
  if (bytesPerSecond == 0)
    return std::nullopt;
  // The hold starts before the speech and ends a moment after it.
  const auto holdMs = 1000 * fs::file_size(wav) / bytesPerSecond + 800;
  Process hold(
      {"/usr/bin/wtype", "-P", "Control_R", "-s", std::to_string(holdMs), "-p", "Control_R"},
      work / "wtype.out");
  std::this_thread::sleep_for(300ms);
  const bool said = test::say(wav);
  const auto status = hold.waitForExit(10s);
  const Instant now = std::chrono::steady_clock::now();
  if (!said || status != 0)
    return std::nullopt;
  return now;
}

namespace {

std::string focusedAppId(const json& node) {
  if (node.value("focused", false))
    return node.contains("app_id") && node["app_id"].is_string() ? node["app_id"].get<std::string>()
                                                                 : "";
  for (const char* children : {"nodes", "floating_nodes"}) {
    for (const auto& child : node.value(children, json::array())) {
      if (auto id = focusedAppId(child); !id.empty())
        return id;
    }
  }
  return "";
}

}  // namespace

std::string swayFocusedAppId() {
  return focusedAppId(json::parse(output("swaymsg -t get_tree"), nullptr, false));
}

std::unique_ptr<Process> focusedWaylandTerminal(const fs::path& typed, const fs::path& work) {
  auto terminal = std::make_unique<Process>(
      std::vector<std::string>{"/usr/bin/foot", "sh", "-c",
                               "stty -icanon; exec cat >" + typed.string()},
      work / "foot.out");
  if (!waitFor([&] { return fs::exists(typed) && swayFocusedAppId() == "foot"; }, 30s))
    return nullptr;
  return terminal;
}

namespace {

// The murvel: `link` handed to a second copy of `program`, as a browser does; true once the running
// `app` holds the key it was exchanged for and has put its Settings window away.
bool handOff(App& app, const std::string& program, const std::string& link, const fs::path& work,
             std::string& problem) {
  Process second({program, link}, work / "second.out");
  if (second.waitForExit(10s) != 0) {
    problem = "the copy given the link failed:\n" +
              readWholeFile(work / "second.out").value_or("") + "\nfirst:\n" + app.log();
    return false;
  }
  if (!waitFor([] { return !storedAccessKey().empty(); }, 30s))
    return problem = "no access key arrived:\n" + app.log(), false;
  return noSettingsWindow(app) ||
         (problem = "the Settings window stayed open after signing in", false);
}

}  // namespace

Journey::Journey(fs::path work)
    : cloud(programs.cloud, work / "cloud"),
      work_(std::move(work)),
      home_(std::getenv("HOME")),
      browserLog_(work_ / "browser.log") {
  fs::create_directories(work_ / "tmp");
  // The recording lands where the test looks for what was left behind.
  setenv("TMPDIR", (work_ / "tmp").c_str(), 1);
  // The desktop's web browser, for every program started from here on.
  setenv("BROWSER", programs.browser.c_str(), 1);
  setenv("MURVEL_BROWSER_LOG", browserLog_.c_str(), 1);
  const fs::path applications = home_ / ".local/share/applications";
  fs::create_directories(applications);
  std::ofstream(applications / "murvel-test-browser.desktop")
      << "[Desktop Entry]\nType=Application\nName=Test Browser\nExec=" << programs.browser
      << " %u\nMimeType=x-scheme-handler/http;x-scheme-handler/https;\nNoDisplay=true\n";
  run("xdg-mime default murvel-test-browser.desktop x-scheme-handler/http x-scheme-handler/https");
}

bool Journey::fail(const std::string& why) {
  problem = why;
  return false;
}

std::optional<QRect> Journey::icon() {
  return trayIcon(fs::path(programs.murvel).filename().string());
}

bool Journey::signIn(const std::string& email) {
  app = std::make_unique<App>(programs.murvel, work_);
  const auto field = app->waitForWindow(isSettings);
  if (!field)
    return fail("the first launch opened no Settings window:\n" + app->log());
  // The window manager may still be placing the window when it first shows: type until the
  // address is in the field.
  const bool typed = waitFor(
      [&] {
        const auto window = app->waitForWindow(isSettings);
        const json* box = window ? visibleWidgetOfClass(*window, "QLineEdit") : nullptr;
        return box != nullptr && click(frameOf(*box).center()) &&
               keys("key ctrl+a BackSpace type --delay 30 '" + email + "'") &&
               app->waitForWidget(isSettings, email).has_value();
      },
      60s);
  if (!typed)
    return fail("the address could not be typed into the Settings window");
  const auto button = app->waitForWidget(isSettings, "Continue with Email");
  if (!button || !click(frameOf(*button).center()))
    return fail("the Settings window has no \"Continue with Email\" button");
  std::string url;
  if (!waitFor([&] { return !(url = readWholeFile(browserLog_).value_or("")).empty(); }))
    return fail("no page was handed to the browser; the Settings window shows " +
                json(visibleTexts(app->waitForWindow(isSettings)
                                      .value_or(json::object(
                                          {{"visible", false}, {"children", json::array()}}))))
                    .dump() +
                "\n" + app->log());
  // The page the app sent the browser to, on the service's own address.
  url = url.substr(0, url.find('\n'));
  const auto link = followSignIn(url.substr(url.find("/api/")), problem);
  if (!link)
    return false;
  if (!link->starts_with("murvel://auth?login_token="))
    return fail("the sign-in ended at " + *link + ", not at a murvel: link");
  return handOff(*app, programs.murvel, *link, work_, problem);
}

bool Journey::pickRightControl() {
  auto window = openSettingsFromMenu();
  if (!window)
    return false;
  window = app->showTab(isSettings, "Preferences", "Pick Button…");
  const json* pick = window ? visibleWidgetWithText(*window, "Pick Button…") : nullptr;
  if (pick == nullptr || !click(frameOf(*pick).center()))
    return fail("the Preferences tab has no \"Pick Button…\"");
  if (!app->waitForWidget(isSettings, "Press a key…") || !keys("key Control_R"))
    return fail("\"Pick Button…\" did not wait for a key");
  window = app->waitForWindow([](const json& candidate) {
    if (!isSettings(candidate))
      return false;
    const auto texts = visibleTexts(candidate);
    return std::any_of(texts.begin(), texts.end(),
                       [](const std::string& text) { return text.starts_with("Picked"); });
  });
  if (!window)
    return fail("pressing Right Control picked nothing");
  const json settings = json::parse(
      readWholeFile(home_ / ".config/murvel/com.murvel.mac.json").value_or(""), nullptr, false);
  if (settings.is_discarded() || settings.value("hotkey", "") != "right_ctrl")
    return fail("the settings do not hold Right Control as the hotkey");
  return true;
}

bool Journey::closeSettings() {
  return chooseFromTrayMenu("Close Settings") &&
         (noSettingsWindow(*app) || fail("the Settings window stayed open"));
}

std::optional<json> Journey::openPanel() {
  const auto at = icon();
  if (!at || !click(at->center()))
    return fail("no icon of Murvel in the tray"), std::nullopt;
  return app->waitForWindow(isPanel);
}

std::optional<json> Journey::openSettingsFromMenu() {
  if (!chooseFromTrayMenu("Settings"))
    return std::nullopt;
  auto window = app->waitForWindow(isSettings);
  if (!window)
    fail("choosing Settings in " + lastMenu_.dump() + " opened no window; the app shows " +
         app->dump().dump());
  return window;
}

bool Journey::chooseFromTrayMenu(const std::string& entry) {
  const auto at = icon();
  if (!at)
    return fail("no icon of Murvel in the tray");
  // A click that only closes an open panel opens nothing: click again.
  if (!waitFor([&] { return click(at->center(), 3) && app->waitForWindow(isMenu, 3s); }))
    return fail("a right click on the tray icon opened no menu");
  const auto shown = app->waitForWindow(
      [&](const json& window) { return isMenu(window) && menuEntry(window, entry).has_value(); });
  if (!shown || !click(*menuEntry(*shown, entry)))
    return fail("the tray menu has no entry \"" + entry + "\"");
  lastMenu_ = *shown;
  return true;
}

std::optional<std::string> Journey::dictate(const std::string& sentence, const std::string& name) {
  const auto wav = test::speech(sentence, work_, name);
  if (wav.empty())
    return fail("flite could not say: " + sentence), std::nullopt;
  if (!target->focus() || !keys("key ctrl+a BackSpace"))
    return fail("the target window could not be brought to the front"), std::nullopt;
  waitFor([&] { return target->text().empty(); }, 2s);
  const int before = pastes();
  if (!speakWhileHeld(wav))
    return fail("the microphone or the key did not take part"), std::nullopt;
  if (!waitFor([&] { return pastes() > before; }, 90s))
    return fail("no paste came after the release:\n" + app->log()), std::nullopt;
  std::string text;
  if (!waitFor([&] { return !(text = target->text()).empty(); }, 5s))
    return fail("the paste reached no text into the target window"), std::nullopt;
  return text;
}

std::string storedAccessKey() {
  linux_platform::SecretKeychainBackend keychain;
  return Keychain::load(keychain, Keychain::accessKeyAccount).value_or("");
}

bool noSettingsWindow(App& app) {
  return waitFor([&] { return !app.shows(isSettings); });
}

bool signInByLink(App& app, const std::string& program, const std::string& email,
                  const fs::path& work, std::string& problem) {
  // Running once it listens for the links and commands of later copies.
  const fs::path socket = fs::path(std::getenv("XDG_RUNTIME_DIR")) /
                          ("murvel-" + std::to_string(::getuid()) + ".socket");
  if (!waitFor([&] { return fs::exists(socket); }, 30s))
    return problem = "the app never listened for later copies:\n" + app.log(), false;
  // A person signs in from the Settings window that the first launch opens.
  if (!app.waitForWindow(isSettings))
    return problem = "the first launch opened no Settings window:\n" + app.log(), false;
  const auto link = signInLink(email, problem);
  return link && handOff(app, program, *link, work, problem);
}

int Journey::pastes() const {
  const std::string log = app ? app->log() : "";
  int count = 0;
  for (auto at = log.find("][paste_posted]"); at != std::string::npos;
       at = log.find("][paste_posted]", at + 1))
    ++count;
  return count;
}

}  // namespace murvel::e2e
