#include "studio/Server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <fstream>
#include <random>
#include <sstream>

#include "app/Errors.h"
#include "studio/HttpError.h"
#include "studio/JpegEncoder.h"
#include "studio/WebFiles.h"

namespace kelo::studio {

namespace {

constexpr int kFrameQuality = 85;
constexpr int kThumbQuality = 80;
// Connections the server serves at once; each open page keeps a few.
constexpr std::size_t kServerThreads = 48;
// A settings file's name, at most.
constexpr std::size_t kMaxNameLength = 255;

std::string RandomToken() {
  std::random_device device;
  std::string token;
  for (int k = 0; k < 6; ++k) {
    char part[9];
    std::snprintf(part, sizeof part, "%08x", static_cast<unsigned>(device()));
    token += part;
  }
  return token;
}

// Compares without stopping at the first difference, so the time taken tells nothing.
bool SameSecret(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  unsigned char difference = 0;
  for (std::size_t k = 0; k < a.size(); ++k) difference |= a[k] ^ b[k];
  return difference == 0;
}

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void SendJson(httplib::Response& response, const Json& json, int status = 200) {
  response.status = status;
  response.set_content(Dump(json), "application/json");
}

void SendError(httplib::Response& response, int status, const std::string& message) {
  SendJson(response, {{"error", message}}, status);
}

// A required query parameter.
std::string Param(const httplib::Request& request, const char* name) {
  if (!request.has_param(name))
    throw HttpError(400, std::string("the parameter '") + name + "' is missing");
  return request.get_param_value(name);
}

double NumberParam(const httplib::Request& request, const char* name, double minimum,
                   double maximum) {
  const std::string text = Param(request, name);
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value) ||
      value < minimum || value > maximum) {
    std::ostringstream message;
    message << "bad " << name << " '" << text.substr(0, 40) << "': expected a number from "
            << minimum << " to " << maximum;
    throw HttpError(400, message.str());
  }
  return value;
}

int IntegerParam(const httplib::Request& request, const char* name) {
  const std::string text = Param(request, name);
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    throw HttpError(
        400, std::string("bad ") + name + " '" + text.substr(0, 40) + "': expected a whole number");
  return value;
}

void SendPicture(httplib::Response& response, ICIF* picture, int quality,
                 std::chrono::steady_clock::time_point start) {
  std::string jpeg = EncodeJpeg(View(picture), quality);
  const auto took =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start);
  response.set_header("X-Kelo-Milliseconds", std::to_string(took.count()));
  response.set_content(std::move(jpeg), "image/jpeg");
}

// Runs a route, answering its refusals as JSON errors.
template <class F>
httplib::Server::Handler Guarded(F route) {
  return [route](const httplib::Request& request, httplib::Response& response) {
    try {
      route(request, response);
    } catch (const HttpError& error) {
      SendError(response, error.Status(), error.what());
    } catch (const AppError& error) {
      // A picture kelo cannot decode, an effect that failed, an output that cannot be written.
      SendError(response, error.Code() == kExitInput || error.Code() == kExitUsage ? 400 : 500,
                error.what());
    } catch (const std::exception& error) {
      SendError(response, 500, error.what());
    }
  };
}

}  // namespace

Server::Server(Pictures& pictures, Sessions& sessions, Exports& exports,
               std::filesystem::path workFolder)
    : pictures_(pictures),
      sessions_(sessions),
      exports_(exports),
      workFolder_(std::filesystem::weakly_canonical(workFolder)),
      token_(RandomToken()),
      http_(std::make_unique<httplib::Server>()) {
  http_->new_task_queue = [] { return new httplib::ThreadPool(kServerThreads); };
  http_->set_payload_max_length(kMaxUploadBytes);
  http_->set_keep_alive_max_count(1000);
  // The library's default also sets SO_REUSEPORT, which would let another process listen on the
  // same port and take some of the page's requests: the port is ours alone.
  http_->set_socket_options([](int socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  Route();
}

Server::~Server() = default;

void Server::Bind(int port) {
  const bool bound = port == 0 ? (port_ = http_->bind_to_any_port("127.0.0.1")) > 0
                               : http_->bind_to_port("127.0.0.1", port);
  if (!bound)
    throw AppError(kExitFailure,
                   "cannot listen on 127.0.0.1:" + std::to_string(port) + " (is the port in use?)");
  if (port != 0) port_ = port;
}

std::string Server::Address() const {
  return "http://127.0.0.1:" + std::to_string(port_) + "/?token=" + token_;
}

void Server::Serve() {
  http_->listen_after_bind();
}

void Server::Stop() {
  http_->stop();
}

bool Server::Allowed(const std::string& host, const std::string& origin) const {
  const std::string port = std::to_string(port_);
  const bool loopbackHost = host == "127.0.0.1:" + port || host == "localhost:" + port;
  const bool ownOrigin = origin.empty() || origin == "http://127.0.0.1:" + port ||
                         origin == "http://localhost:" + port;
  return loopbackHost && ownOrigin;
}

std::filesystem::path Server::SettingsFile(const std::string& name) const {
  if (name.empty() || name.size() > kMaxNameLength || name.find('\0') != std::string::npos)
    throw HttpError(400, "a settings file needs a name of 1 to 255 characters");
  const auto outside = [&](const std::filesystem::path& path) {
    const auto inside = path.lexically_relative(workFolder_);
    return inside.empty() || inside == "." || *inside.begin() == "..";
  };
  // Existing folders and links are resolved; a link that leads nowhere yet is followed too.
  std::filesystem::path file = std::filesystem::weakly_canonical(workFolder_ / name);
  std::error_code error;
  for (int links = 0; std::filesystem::is_symlink(std::filesystem::symlink_status(file, error));
       ++links) {
    if (links == 8 || outside(file)) break;
    file = std::filesystem::weakly_canonical(file.parent_path() /
                                             std::filesystem::read_symlink(file, error));
  }
  if (outside(file) || std::filesystem::is_symlink(std::filesystem::symlink_status(file, error)))
    throw HttpError(403, "'" + name + "' is outside the working folder " + workFolder_.string());
  if (file.extension() != ".xml") throw HttpError(400, "settings files end in .xml");
  return file;
}

void Server::Route() {
  auto& http = *http_;
  // Refusals that come before any route: another site's page, a rebound name, no token.
  http.set_pre_routing_handler([this](const httplib::Request& request,
                                      httplib::Response& response) {
    if (!Allowed(request.get_header_value("Host"), request.get_header_value("Origin"))) {
      SendError(response, 403, "refused: the studio answers its own page on 127.0.0.1 only");
      return httplib::Server::HandlerResponse::Handled;
    }
    const std::string token = request.has_header("X-Kelo-Token")
                                  ? request.get_header_value("X-Kelo-Token")
                                  : request.get_param_value("token");
    if (!SameSecret(token, token_)) {
      SendError(response, 401,
                "refused: the token is missing or wrong (open the address kelo studio printed)");
      return httplib::Server::HandlerResponse::Handled;
    }
    response.set_header("Cache-Control", "no-store");
    response.set_header("X-Content-Type-Options", "nosniff");
    response.set_header("Referrer-Policy", "no-referrer");
    return httplib::Server::HandlerResponse::Unhandled;
  });
  // Errors the library answers itself (no route, too large, malformed) get a JSON body too.
  http.set_error_handler([](const httplib::Request&, httplib::Response& response) {
    if (!response.body.empty()) return;
    const char* message = response.status == 404   ? "no such page or operation"
                          : response.status == 413 ? "the request is too large (a picture: at most "
                                                     "32 MiB, sent as its own bytes, not as a form)"
                                                   : "bad request";
    SendError(response, response.status, message);
  });
  http.set_exception_handler(
      [](const httplib::Request&, httplib::Response& response, std::exception_ptr) {
        SendError(response, 500, "the studio failed to answer");
      });

  // The page.
  http.Get("/", Guarded([this](const httplib::Request&, httplib::Response& response) {
             const WebFile* page = FindWebFile("index.html");
             std::string html(page->data);
             for (std::size_t at; (at = html.find("@TOKEN@")) != std::string::npos;)
               html.replace(at, 7, token_);
             response.set_header("Content-Security-Policy",
                                 "default-src 'self'; img-src 'self' blob:; connect-src 'self'");
             response.set_content(html, std::string(page->type));
           }));
  http.Get(R"(/([a-z]+\.(?:js|css)))",
           Guarded([](const httplib::Request& request, httplib::Response& response) {
             const WebFile* file = FindWebFile(request.matches[1].str());
             if (file == nullptr) throw HttpError(404, "no such file");
             response.set_content(std::string(file->data), std::string(file->type));
           }));

  // What there is to choose from.
  http.Get("/api/transitions",
           Guarded([this](const httplib::Request&, httplib::Response& response) {
             SendJson(response, {{"transitions", sessions_.Transitions()},
                                 {"width", pictures_.FrameSize().width},
                                 {"height", pictures_.FrameSize().height},
                                 {"thumbWidth", pictures_.ThumbSize().width},
                                 {"thumbHeight", pictures_.ThumbSize().height}});
           }));
  http.Get("/api/pictures", Guarded([this](const httplib::Request&, httplib::Response& response) {
             Json list = Json::array();
             for (const auto& picture : pictures_.All())
               list.push_back({{"id", picture.id}, {"name", picture.name}});
             SendJson(response, {{"pictures", std::move(list)}});
           }));
  http.Post("/api/pictures",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              if (request.body.empty()) throw HttpError(400, "the upload is empty");
              std::string name = request.has_param("name") ? request.get_param_value("name")
                                                           : std::string("upload");
              name = name.substr(0, 100);
              const auto& body = request.body;
              const Picture picture = pictures_.Add(
                  {reinterpret_cast<const std::uint8_t*>(body.data()), body.size()}, name);
              SendJson(response, {{"id", picture.id}, {"name", picture.name}}, 201);
            }));
  http.Get(R"(/api/pictures/(\d{1,9})/thumb)",
           Guarded([this](const httplib::Request& request, httplib::Response& response) {
             const Picture picture = pictures_.Find(std::stoi(request.matches[1].str()));
             if (picture.id < 0) throw HttpError(404, "no picture has that id");
             SendPicture(response, picture.thumb.Get(), kThumbQuality,
                         std::chrono::steady_clock::now());
           }));
  http.Get("/api/thumbnail",
           Guarded([this](const httplib::Request& request, httplib::Response& response) {
             const auto start = std::chrono::steady_clock::now();
             auto frame = sessions_.Thumbnail(
                 Param(request, "transition"), IntegerParam(request, "from"),
                 IntegerParam(request, "to"), NumberParam(request, "progress", 0, 1));
             SendPicture(response, frame.Get(), kThumbQuality, start);
           }));
  http.Get("/api/settings-files",
           Guarded([this](const httplib::Request&, httplib::Response& response) {
             Json files = Json::array();
             std::error_code error;
             for (const auto& entry : std::filesystem::directory_iterator(workFolder_, error))
               if (entry.path().extension() == ".xml" && entry.is_regular_file(error) &&
                   files.size() < 200)
                 files.push_back(entry.path().filename().string());
             SendJson(response, {{"files", std::move(files)}, {"folder", workFolder_.string()}});
           }));

  // A page's session.
  http.Post("/api/sessions",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              SendJson(response, sessions_.Open(Param(request, "transition")), 201);
            }));
  const std::string session = R"(/api/sessions/([0-9a-f]{1,64}))";
  http.Get(session, Guarded([this](const httplib::Request& request, httplib::Response& response) {
             SendJson(response, sessions_.State(request.matches[1].str()));
           }));
  http.Post(session + "/close",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              sessions_.Close(request.matches[1].str());
              SendJson(response, {{"closed", true}});
            }));
  http.Post(session + "/transition",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              SendJson(response,
                       sessions_.SetTransition(request.matches[1].str(), Param(request, "name")));
            }));
  http.Post(session + "/pictures",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              SendJson(response, sessions_.SetPictures(request.matches[1].str(),
                                                       IntegerParam(request, "from"),
                                                       IntegerParam(request, "to")));
            }));
  http.Post(session + "/property",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              SendJson(response,
                       sessions_.SetProperty(request.matches[1].str(), Param(request, "id"),
                                             Param(request, "value")));
            }));
  http.Post(session + "/randomize",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              SendJson(response, sessions_.Randomize(request.matches[1].str()));
            }));
  http.Post(session + "/save",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              const auto file = SettingsFile(Param(request, "file"));
              Json state = sessions_.Save(request.matches[1].str(), file);
              state["saved"] = file.lexically_relative(workFolder_).string();
              SendJson(response, state);
            }));
  http.Post(session + "/load",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              SendJson(response, sessions_.Load(request.matches[1].str(),
                                                SettingsFile(Param(request, "file"))));
            }));
  http.Get(session + "/frame",
           Guarded([this](const httplib::Request& request, httplib::Response& response) {
             const auto start = std::chrono::steady_clock::now();
             const std::string id = request.matches[1].str();
             const double progress = NumberParam(request, "progress", 0, 1);
             const auto ticket = sessions_.FrameTicket(id);
             auto frame = sessions_.Frame(id, progress, ticket);
             if (!frame) throw HttpError(409, "superseded by a later frame request");
             SendPicture(response, frame.Get(), kFrameQuality, start);
           }));
  http.Post(session + "/export",
            Guarded([this](const httplib::Request& request, httplib::Response& response) {
              ExportRequest wanted;
              wanted.format = Param(request, "format");
              wanted.duration = NumberParam(request, "duration", 0.1, 10);
              wanted.fps = NumberParam(request, "fps", 1, 60);
              SendJson(response, exports_.Start(request.matches[1].str(), wanted), 202);
            }));

  // Exports.
  http.Get(R"(/api/exports/(\d{1,9}))",
           Guarded([this](const httplib::Request& request, httplib::Response& response) {
             SendJson(response, exports_.State(request.matches[1].str()));
           }));
  http.Get(R"(/api/exports/(\d{1,9})/file)",
           Guarded([this](const httplib::Request& request, httplib::Response& response) {
             const auto file = exports_.File(request.matches[1].str());
             std::error_code error;
             const auto size = std::filesystem::file_size(file, error);
             auto in = std::make_shared<std::ifstream>(file, std::ios::binary);
             if (error || !*in) throw HttpError(500, "the export cannot be read");
             const std::string extension = file.extension().string();
             const std::string type = extension == ".mp4"    ? "video/mp4"
                                      : extension == ".webp" ? "image/webp"
                                                             : "image/gif";
             response.set_header("Content-Disposition",
                                 "attachment; filename=\"kelo-clip" + extension + "\"");
             // Streamed from the file: a long clip never sits in memory whole.
             response.set_content_provider(
                 size, type, [in](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                   char buffer[1 << 16];
                   in->seekg(static_cast<std::streamoff>(offset));
                   const auto wanted = std::min(length, sizeof buffer);
                   if (!in->read(buffer, static_cast<std::streamsize>(wanted))) return false;
                   return sink.write(buffer, wanted);
                 });
           }));
}

}  // namespace kelo::studio
