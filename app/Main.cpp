// kelo: renders picture transitions to files by loading the transition modules as a host does.
#include <signal.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "app/Commands.h"
#include "app/Errors.h"
#include "app/Interrupt.h"
#include "app/Text.h"
#include "studio/Studio.h"

#ifndef KELO_VERSION
#define KELO_VERSION "0.0.0"
#endif

namespace {

void AddQuiet(CLI::App* command, bool& quiet) {
  command->add_flag("-q,--quiet", quiet, "No progress bar");
}

// A repeatable option that takes one value each time it is given, so that the words after it
// stay the command's own (pictures of a slideshow, say).
CLI::Option* OneValueEach(CLI::Option* option) {
  return option->expected(1)->allow_extra_args(false)->multi_option_policy(
      CLI::MultiOptionPolicy::TakeAll);
}

// Refuses an empty value, which CLI11 would read as the number 0.
const CLI::Validator kNumber(
    [](std::string& text) {
      return text.empty() ? std::string("expected a number, not an empty value") : std::string();
    },
    "");

// --set, --settings and --save-settings of a command that makes a transition.
void AddSettings(CLI::App* command, kelo::SettingsOptions& options, const std::string& setHelp) {
  OneValueEach(command->add_option("--set", options.assignments, setHelp));
  command->add_option("--settings", options.loadFile,
                      "Load the transition's settings from an XML file (before --set)");
  command->add_option("--save-settings", options.saveFile,
                      "Save the transition's settings (after --set) to an XML file");
}

// --size, --fit and --background of a command that brings pictures to one size.
void AddFitting(CLI::App* command, kelo::FitOptions& options, const std::string& sizeHelp,
                const std::string& fitHelp) {
  command->add_option("--size", options.size, sizeHelp);
  command->add_option("--fit", options.fit, fitHelp)->capture_default_str();
  command
      ->add_option("--background", options.background,
                   "Bar colour for contain: #RRGGBB, R,G,B, black or white")
      ->capture_default_str();
}

// The command a failed parse was in, for pointing at its own --help: the first word that names
// one ("" when there is none).
std::string CommandOf(const CLI::App& app, int argc, char** argv) {
  for (int i = 1; i < argc; ++i)
    for (const auto* command : app.get_subcommands({}))
      if (command->get_name() == argv[i]) return command->get_name();
  return {};
}

// Why no command ran: none was given, or the first word names none.
std::string NoCommand(const CLI::App& app, int argc, char** argv) {
  std::vector<std::string> names;
  for (const auto* command : app.get_subcommands({})) names.push_back(command->get_name());
  for (int i = 1; i < argc; ++i) {
    if (argv[i][0] == '-') continue;
    std::string message = "unknown command '" + std::string(argv[i]) + "'";
    const auto nearest = kelo::NearestNames(argv[i], names, 1);
    if (!nearest.empty()) message += "; did you mean " + nearest.front() + "?";
    return message;
  }
  return "no command given: use " + kelo::JoinAlternatives(names);
}

const char* const kEasingHelp =
    "How time maps to the transition's progress: linear, ease, ease-in, ease-out, ease-in-out or "
    "cubic-bezier(x1,y1,x2,y2)";

}  // namespace

int main(int argc, char** argv) {
  // A video encoder that stops early must not kill us: its pipe then reports EPIPE instead.
  signal(SIGPIPE, SIG_IGN);
  // A file-size limit (ulimit -f) makes a write fail with a message instead of a core dump.
  signal(SIGXFSZ, SIG_IGN);

  CLI::App app{
      "kelo renders picture transitions to files: single frames, videos (MP4, WebM), "
      "animations (WebP, GIF), PNG frame sequences, slideshows and contact sheets."};
  app.set_version_flag("-V,--version", "kelo " KELO_VERSION);
  app.require_subcommand(1);
  app.footer(
      "Examples:\n"
      "  kelo list\n"
      "  kelo frame --from a.jpg --to b.png --progress 0.4 -o out.png\n"
      "  kelo render --from a.jpg --to b.jpg --transition PushTransition --set Direction=Left -o "
      "out.mp4\n"
      "  kelo slideshow photos/*.jpg -o show.mp4\n"
      "  kelo sheet -o sheet.png\n"
      "  kelo demo\n"
      "Run 'kelo COMMAND --help' for the options of a command.");

  kelo::ListOptions list;
  auto* listCommand = app.add_subcommand(
      "list", "List the transitions the host finds, their interfaces and settings");
  listCommand->add_flag("--names", list.namesOnly, "Only the transition names, one a line");
  listCommand->footer("Examples:\n  kelo list\n  kelo list --names");

  kelo::FrameOptions frame;
  auto* frameCommand = app.add_subcommand("frame", "Write one frame of a transition as a PNG file");
  frameCommand->add_option("--from", frame.from, "The picture being left (PNG or JPEG)")
      ->required();
  frameCommand->add_option("--to", frame.to, "The picture being entered; the frame has its size")
      ->required();
  frameCommand->add_option("-t,--transition", frame.transition, "Transition name (see 'kelo list')")
      ->capture_default_str();
  frameCommand->add_option("-p,--progress", frame.progress, "0 shows --from, 1 shows --to")
      ->check(kNumber)
      ->capture_default_str();
  AddSettings(frameCommand, frame.settings, "A setting NAME=VALUE (by name or id; repeatable)");
  frameCommand->add_option("-o,--output", frame.output, "The PNG file to write")->required();
  frameCommand->footer(
      "Examples:\n"
      "  kelo frame --from a.jpg --to b.png --transition DissolveTransition --progress 0.4 -o "
      "out.png\n"
      "  kelo frame --from a.jpg --to b.jpg -t CoverTransition --set Direction=1 -p 0.5 -o "
      "half.png\n"
      "  kelo frame --from a.jpg --to b.jpg -t PushTransition --set Direction=Left "
      "--save-settings push.xml -o push.png\n"
      "  kelo frame --from a.jpg --to b.jpg -t PushTransition --settings push.xml -o again.png");

  kelo::RenderOptions render;
  auto* renderCommand =
      app.add_subcommand("render", "Render a whole transition to a video, animation or frames");
  renderCommand->add_option("--from", render.from, "The picture being left (PNG or JPEG)")
      ->required();
  renderCommand->add_option("--to", render.to, "The picture being entered")->required();
  renderCommand
      ->add_option("-t,--transition", render.transition, "Transition name (see 'kelo list')")
      ->capture_default_str();
  AddSettings(renderCommand, render.settings, "A setting NAME=VALUE (by name or id; repeatable)");
  renderCommand->add_option("-d,--duration", render.duration, "Seconds")
      ->check(kNumber)
      ->capture_default_str();
  renderCommand->add_option("--fps", render.fps, "Frames per second (1 to 240)")
      ->check(kNumber)
      ->capture_default_str();
  renderCommand->add_option("--easing", render.easing, kEasingHelp)->capture_default_str();
  AddFitting(renderCommand, render.fitting, "Output size WxH (default: the size of --to)",
             "How pictures fill --size: contain, cover or stretch");
  renderCommand
      ->add_option("-o,--output", render.output,
                   "out.mp4, out.webm, out.webp, out.gif, out.rgb or frames/%04d.png")
      ->required();
  AddQuiet(renderCommand, render.quiet);
  renderCommand->footer(
      "Examples:\n"
      "  kelo render --from a.jpg --to b.jpg --transition PushTransition --set Direction=Left "
      "--duration 1.5 --fps 30 -o out.mp4\n"
      "  kelo render --from a.jpg --to b.png --size 640x360 --fit cover -o out.webp\n"
      "  kelo render --from a.jpg --to b.jpg -o frames/%04d.png");

  kelo::SlideshowOptions slideshow;
  auto* slideshowCommand = app.add_subcommand(
      "slideshow", "Turn pictures into a video with a transition between each pair");
  slideshowCommand->add_option("pictures", slideshow.pictures,
                               "The pictures, in order (PNG or JPEG); or use --timeline");
  slideshowCommand->add_option(
      "--timeline", slideshow.timeline,
      "A timeline file (.json or .toml): slides with their pictures, holds, motion and "
      "transitions; the options below override its defaults");
  slideshowCommand
      ->add_option("-o,--output", slideshow.output,
                   "show.mp4, show.webm, show.webp, show.gif, show.rgb or frames/%04d.png")
      ->required();
  slideshowCommand->add_option("--hold", slideshow.hold, "Seconds each picture is shown")
      ->check(kNumber)
      ->capture_default_str();
  slideshowCommand->add_option("-d,--duration", slideshow.duration, "Seconds of each transition")
      ->check(kNumber)
      ->capture_default_str();
  slideshowCommand->add_option("--fps", slideshow.fps, "Frames per second (1 to 240)")
      ->check(kNumber)
      ->capture_default_str();
  slideshowCommand
      ->add_option("-t,--transition", slideshow.transition,
                   "Transition name; RandomTransition picks anew each time")
      ->capture_default_str();
  AddSettings(slideshowCommand, slideshow.settings,
              "A setting NAME=VALUE of the transition (repeatable)");
  AddFitting(slideshowCommand, slideshow.fitting,
             "Output size WxH (default: the first picture's size)",
             "How pictures fill the size: contain, cover or stretch");
  slideshowCommand->add_option("--easing", slideshow.easing, kEasingHelp)->capture_default_str();
  slideshowCommand
      ->add_option("--motion", slideshow.motion,
                   "Pan and zoom over held pictures: none, auto, zoom-in, zoom-out, pan-left, "
                   "pan-right, pan-up or pan-down")
      ->capture_default_str();
  slideshowCommand->add_option("--audio", slideshow.audio,
                               "Music for an MP4 or WebM show: cut to the show with a fade-out, or "
                               "looped when shorter");
  slideshowCommand->add_flag("--fit-to-audio", slideshow.fitToAudio,
                             "Stretch the holds so that the show ends with the music");
  AddQuiet(slideshowCommand, slideshow.quiet);
  slideshowCommand->footer(
      "Examples:\n"
      "  kelo slideshow photos/*.jpg -o show.mp4 --hold 2 --duration 1 --transition "
      "RandomTransition\n"
      "  kelo slideshow a.jpg b.png c.jpg --size 1280x720 --fit cover -o show.webp\n"
      "  kelo slideshow *.png --transition DissolveTransition --background white -o show.gif\n"
      "  kelo slideshow --timeline show.json --audio music.mp3 --motion auto -o show.mp4");

  kelo::SheetOptions sheet;
  auto* sheetCommand = app.add_subcommand(
      "sheet", "Draw a contact sheet: each transition at progress 0, 0.25, 0.5, 0.75 and 1");
  sheetCommand->add_option("-o,--output", sheet.output, "The PNG file to write")->required();
  sheetCommand->add_option("--from", sheet.from,
                           "The picture being left (default: a built-in picture)");
  sheetCommand->add_option("--to", sheet.to,
                           "The picture being entered (default: a built-in picture)");
  OneValueEach(sheetCommand->add_option("-t,--transition", sheet.transitions,
                                        "Only this transition (repeatable; default: all)"));
  sheetCommand->add_option("--cell", sheet.cell, "Size of each picture on the sheet, WxH")
      ->capture_default_str();
  AddQuiet(sheetCommand, sheet.quiet);
  sheetCommand->footer(
      "Examples:\n"
      "  kelo sheet -o sheet.png\n"
      "  kelo sheet --from a.jpg --to b.jpg --cell 240x135 -t DissolveTransition -t PushTransition "
      "-o sheet.png");

  kelo::DemoOptions demo;
  auto* demoCommand = app.add_subcommand("demo",
                                         "Render a slideshow of built-in pictures through every "
                                         "transition, a contact sheet and dissolve frames");
  demoCommand->add_option("--folder", demo.folder, "Where to write (made when missing)")
      ->capture_default_str();
  AddQuiet(demoCommand, demo.quiet);
  demoCommand->footer("Examples:\n  kelo demo\n  kelo demo --folder /tmp/kelo-demo --quiet");

  kelo::studio::StudioOptions studio;
  auto* studioCommand = app.add_subcommand(
      "studio", "Try transitions on your pictures in the browser: preview, settings, export");
  studioCommand->add_option("pictures", studio.pictures,
                            "The pictures to start with (default: two built-in ones)");
  studioCommand->add_option("--port", studio.port, "Port on 127.0.0.1 (0: a free one)")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  studioCommand->add_flag("--no-open", studio.noOpen, "Do not open the page with xdg-open");
  studioCommand->footer(
      "Prints the page's address (with its token) and serves it until Ctrl-C.\n"
      "Examples:\n  kelo studio\n  kelo studio a.jpg b.jpg --port 8600 --no-open");

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForVersion& version) {
    return app.exit(version);
  } catch (const CLI::ParseError& error) {
    const std::string command = CommandOf(app, argc, argv);
    const std::string message = command.empty() && app.get_subcommands().empty()
                                    ? NoCommand(app, argc, argv)
                                    : std::string(error.what());
    std::fprintf(stderr, "kelo: error: %s (see 'kelo %s%s--help')\n", message.c_str(),
                 command.c_str(), command.empty() ? "" : " ");
    return kelo::kExitUsage;
  }

  // Every command but list stops cleanly on SIGINT and SIGTERM (list has nothing to clean up).
  if (!*listCommand) kelo::InstallInterruptHandlers();
  try {
    if (*listCommand) return kelo::RunList(list);
    if (*frameCommand) return kelo::RunFrame(frame);
    if (*renderCommand) return kelo::RunRender(render);
    if (*slideshowCommand) {
      auto given = [&](const char* name) { return slideshowCommand->count(name) > 0; };
      slideshow.holdGiven = given("--hold");
      slideshow.durationGiven = given("--duration");
      slideshow.transitionGiven = given("--transition");
      slideshow.easingGiven = given("--easing");
      slideshow.motionGiven = given("--motion");
      return kelo::RunSlideshow(slideshow);
    }
    if (*sheetCommand) return kelo::RunSheet(sheet);
    if (*demoCommand) return kelo::RunDemo(demo);
    if (*studioCommand) return kelo::studio::RunStudio(studio);
  } catch (const kelo::AppError& error) {
    // A failure the interrupt caused (an encoder that stopped with it) is reported as the
    // interrupt.
    if (const int signal = kelo::InterruptSignal()) {
      std::fprintf(stderr, "kelo: error: %s\n", kelo::InterruptMessage(signal));
      return kelo::InterruptExitCode(signal);
    }
    std::fprintf(stderr, "kelo: error: %s\n", error.what());
    return error.Code();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kelo: error: %s\n", error.what());
    return kelo::kExitFailure;
  }
  return kelo::kExitUsage;
}
