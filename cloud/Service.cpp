#include "cloud/Service.h"

#include <sys/socket.h>
#include <nlohmann/json.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "cloud/Endpoints.h"
#include "cloud/HttpServer.h"
#include "cloud/RecognitionQueue.h"
#include "cloud/RequestBodies.h"
#include "cloud/Store.h"

namespace murvel::cloud {

namespace {

std::string sizeText(std::uint64_t bytes) {
  if (bytes >= 1024 * 1024)
    return std::to_string(bytes / (1024 * 1024)) + " MiB";
  return std::to_string(bytes / 1024) + " KiB";
}

// The endpoints, and the largest body each takes as sent; the handlers that read a body
// themselves hold to their own, smaller limits within it.
struct Route {
  std::string_view method;
  std::string_view path;
  std::uint64_t bodyLimit;
};

constexpr std::uint64_t signInFormLimit = 4 * 1024;

std::optional<Route> routeOf(const httplib::Request& request, std::uint64_t maxUploadBytes) {
  const Route routes[]{{"GET", "/api/health", 0},
                       {"HEAD", "/api/health", 0},
                       {"POST", "/api/transcribe", maxUploadBytes},
                       {"POST", "/api/cleanup", 1024 * 1024},
                       {"GET", "/api/auth/start", 0},
                       {"POST", "/api/auth/continue", signInFormLimit},
                       {"POST", "/api/auth/exchange", 16 * 1024},
                       {"GET", "/api/account/info", 0}};
  for (const Route& route : routes) {
    if (request.method == route.method && request.path == route.path)
      return route;
  }
  return std::nullopt;
}

// The length a request declares for its body; 0 for none.
std::uint64_t declaredLength(const httplib::Request& request) {
  const std::string length = request.get_header_value("Content-Length");
  return length.empty() ? 0 : std::strtoull(length.c_str(), nullptr, 10);
}

bool sendsABody(const httplib::Request& request) {
  return request.has_header("Transfer-Encoding") || declaredLength(request) > 0;
}

// Checks what the head of a request says before its body is read: that it is addressed to
// this service by name, to an endpoint, with a body the endpoint takes. A refusal here ends
// the connection after its reply, since the body it did not read is still on the way.
bool refusedBeforeTheBody(const Service::Context& context, const httplib::Request& request,
                          httplib::Response& response) {
  const auto refuse = [&](int status, const std::string& message) {
    reply::error(response, status, message);
    if (sendsABody(request))
      HttpServer::closeAfterReply();
    return true;
  };
  // A page on another name that resolves to this computer must not pass as the service's own.
  if (!isOwnHost(context.ownHosts, request.get_header_value("Host")))
    return refuse(421, "The service only answers requests addressed to its own address.");
  const auto route = routeOf(request, context.settings.maxUploadBytes);
  if (!route)
    return refuse(404, "There is no endpoint " + printable(request.method) + " " +
                           printable(request.path) + ".");
  const std::string encoding = request.get_header_value("Content-Encoding");
  if (!encoding.empty() && encoding != "identity")
    return refuse(415, "The service does not take compressed requests.");
  if (declaredLength(request) > route->bodyLimit)
    return refuse(
        413, "The request is larger than the service takes (" + sizeText(route->bodyLimit) + ").");
  // Room for the chunks' own framing; a body without a length is checked as it comes.
  HttpServer::limitBody(static_cast<std::size_t>(route->bodyLimit) + 64 * 1024);
  return false;
}

}  // namespace

namespace reply {

void json(httplib::Response& response, int status, const std::string& body) {
  response.status = status;
  response.set_header("Cache-Control", "no-store");
  response.set_content(body, "application/json");
}

void error(httplib::Response& response, int status, const std::string& message) {
  json(response, status,
       nlohmann::json{{"error", message}}.dump(-1, ' ', false,
                                               nlohmann::json::error_handler_t::replace));
}

void page(httplib::Response& response, int status, const std::string& html) {
  response.status = status;
  response.set_header("Cache-Control", "no-store");
  // Nothing on these pages loads from elsewhere, none may be framed by another site, and the
  // form may only post here or hand over to the app.
  response.set_header("Content-Security-Policy",
                      "default-src 'none'; style-src 'unsafe-inline'; form-action 'self' murvel:; "
                      "frame-ancestors 'none'; base-uri 'none'");
  response.set_header("X-Frame-Options", "DENY");
  response.set_header("Referrer-Policy", "no-referrer");
  response.set_content(html, "text/html; charset=utf-8");
}

}  // namespace reply

Body readBody(const httplib::ContentReader& reader, std::size_t limit) {
  Body body;
  body.complete = reader([&](const char* data, std::size_t length) {
    if (body.tooLarge || body.bytes.size() + length > limit) {
      body.tooLarge = true;
      body.bytes.clear();
      return true;
    }
    body.bytes.append(data, length);
    return true;
  });
  return body;
}

std::optional<std::string> authorisedEmail(Service::Context& context,
                                           const httplib::Request& request,
                                           httplib::Response& response) {
  const auto key = bearerKey(request.get_header_value("Authorization"));
  if (!key) {
    reply::error(response, 401, "No access key was sent: sign in to Murvel first.");
    return std::nullopt;
  }
  auto email = context.store.emailForAccessKey(*key);
  if (!email.ok()) {
    reply::error(response, 500, email.problem());
    return std::nullopt;
  }
  if (!email.value()) {
    reply::error(response, 401,
                 "The service does not know this access key: sign in to Murvel again.");
    return std::nullopt;
  }
  return *email.value();
}

std::string traceOf(const httplib::Request& request) {
  const std::string trace = request.get_header_value("X-Murvel-Trace-ID");
  if (trace.empty())
    return "-";
  return isLoggableTraceId(trace) ? trace : "(unreadable)";
}

Service::Service(ServiceSettings settings, Store& store, RecognitionQueue& recognition, LogSink log)
    : context_(new Context{std::move(settings), store, recognition, std::move(log), {}}),
      server_(std::make_unique<HttpServer>(context_->settings.requestThreads)) {
  Context& context = *context_;
  HttpServer& server = *server_;
  const std::uint64_t limit = context.settings.maxUploadBytes;
  server.set_payload_max_length(static_cast<std::size_t>(limit));
  server.set_pre_routing_handler(
      [&context](const httplib::Request& request, httplib::Response& response) {
        return refusedBeforeTheBody(context, request, response)
                   ? httplib::Server::HandlerResponse::Handled
                   : httplib::Server::HandlerResponse::Unhandled;
      });
  server.set_keep_alive_timeout(context.settings.keepAliveSeconds);
  server.set_keep_alive_max_count(10000);
  server.set_tcp_nodelay(true);
  // The library would share the port with any later service of the same user, which would then
  // take half of the requests into accounts of its own. Only a restart may reuse the address.
  server.set_socket_options([](socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });

  server.Get("/api/health",
             [&context](const httplib::Request& request, httplib::Response& response) {
               handleHealth(context, request, response);
             });
  server.Post("/api/transcribe",
              [&context](const httplib::Request& request, httplib::Response& response,
                         const httplib::ContentReader& reader) {
                handleTranscribe(context, request, response, reader);
              });
  server.Post("/api/cleanup",
              [&context](const httplib::Request& request, httplib::Response& response,
                         const httplib::ContentReader& reader) {
                handleCleanup(context, request, response, reader);
              });
  server.Get("/api/auth/start",
             [&context](const httplib::Request& request, httplib::Response& response) {
               handleSignInStart(context, request, response);
             });
  server.Post("/api/auth/continue",
              [&context](const httplib::Request& request, httplib::Response& response) {
                handleSignInContinue(context, request, response);
              });
  server.Post("/api/auth/exchange",
              [&context](const httplib::Request& request, httplib::Response& response,
                         const httplib::ContentReader& reader) {
                handleExchange(context, request, response, reader);
              });
  server.Get("/api/account/info",
             [&context](const httplib::Request& request, httplib::Response& response) {
               handleAccountInfo(context, request, response);
             });

  // Refusals the library makes itself, before any handler: a body that grew too large as it
  // came, a request it cannot read.
  server.set_error_handler(httplib::Server::HandlerWithResponse(
      [&context](const httplib::Request& request, httplib::Response& response) {
        if (!response.body.empty())
          return httplib::Server::HandlerResponse::Unhandled;
        const int status = response.status;
        if (HttpServer::bodyCutOff() || status == 413) {
          const auto route = routeOf(request, context.settings.maxUploadBytes);
          response.status = 413;
          reply::error(response, 413,
                       "The request is larger than the service takes (" +
                           sizeText(route ? route->bodyLimit : 0) + ").");
        } else if (status == 404) {
          reply::error(response, status,
                       "There is no endpoint " + printable(request.method) + " " +
                           printable(request.path) + ".");
        } else if (status == 414 || status == 431) {
          reply::error(response, status, "The request's address or headers are too long.");
        } else if (status == 400) {
          reply::error(response, status, "The request could not be read as HTTP.");
        } else {
          reply::error(response, status,
                       "The request failed with HTTP status " + std::to_string(status) + ".");
        }
        return httplib::Server::HandlerResponse::Handled;
      }));
  server.set_exception_handler([&context](const httplib::Request& request,
                                          httplib::Response& response, std::exception_ptr thrown) {
    std::string what = "unknown failure";
    try {
      if (thrown)
        std::rethrow_exception(thrown);
    } catch (const std::exception& error) {
      what = error.what();
    } catch (...) {
    }
    context.log("failure on " + printable(request.method) + " " + printable(request.path) +
                " trace=" + traceOf(request) + ": " + printable(what));
    reply::error(response, 500, "The service failed on this request.");
  });
  server.set_logger([&context](const httplib::Request& request, const httplib::Response& response) {
    // The path alone: the query of a sign-in holds an address.
    context.log(printable(request.method) + " " + printable(request.path) + " " +
                std::to_string(response.status) + " trace=" + traceOf(request));
  });
}

Service::~Service() = default;

Outcome<int> Service::bind() {
  const ServiceSettings& settings = context_->settings;
  errno = 0;
  int port = settings.port;
  if (port == 0) {
    port = server_->bind_to_any_port(settings.bindAddress);
  } else if (!server_->bind_to_port(settings.bindAddress, port)) {
    port = -1;
  }
  context_->ownHosts = ownHostNames(settings.bindAddress, port);
  if (port > 0)
    server_->widenBacklog();
  if (port <= 0) {
    std::string reason = errno != 0 ? std::strerror(errno) : "the address is not this computer's";
    return Outcome<int>::failure("The service could not listen on " + settings.bindAddress +
                                 " port " + std::to_string(settings.port) + ": " + reason + ".");
  }
  return Outcome<int>::success(port);
}

bool Service::serve() {
  return server_->listen_after_bind();
}

void Service::shutDown() {
  server_->shutDown();
}

}  // namespace murvel::cloud
