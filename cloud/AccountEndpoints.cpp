#include <nlohmann/json.hpp>

#include "cloud/Endpoints.h"
#include "cloud/RequestBodies.h"
#include "cloud/SignIn.h"
#include "cloud/Store.h"

namespace murvel::cloud {

namespace {

constexpr std::size_t exchangeBodyLimit = 16 * 1024;

const char* const notMurvelRedirect =
    "Murvel can only hand a sign-in back to its own murvel: links, and this sign-in asked to go "
    "elsewhere.";
const char* const notAnAddress = "This sign-in has no valid email address.";

// The address and return link of a sign-in, or the page that refuses it, already written.
std::optional<std::pair<std::string, std::string>> signInOf(const httplib::Request& request,
                                                            httplib::Response& response) {
  const std::string redirect = request.get_param_value("redirect_uri");
  if (!isAcceptedRedirect(redirect)) {
    reply::page(response, 400, refusalPage(notMurvelRedirect));
    return std::nullopt;
  }
  const auto email = normalisedEmail(request.get_param_value("email"));
  if (!email) {
    reply::page(response, 400, refusalPage(notAnAddress));
    return std::nullopt;
  }
  return std::make_pair(*email, redirect);
}

// Whether a form post comes from the service's own page. Browsers name the page's origin in
// Origin, or say in Sec-Fetch-Site where the request comes from; a post from another site
// could otherwise sign the app into an account of that site's choosing.
bool isOwnFormPost(const std::vector<std::string>& ownHosts, const httplib::Request& request) {
  const std::string site = request.get_header_value("Sec-Fetch-Site");
  if (!site.empty() && site != "same-origin" && site != "none")
    return false;
  const std::string origin = request.get_header_value("Origin");
  if (origin.empty())
    return true;
  constexpr std::string_view scheme = "http://";
  return origin.starts_with(scheme) && isOwnHost(ownHosts, origin.substr(scheme.size()));
}

}  // namespace

void handleSignInStart(Service::Context&, const httplib::Request& request,
                       httplib::Response& response) {
  if (const auto signIn = signInOf(request, response))
    reply::page(response, 200, signInPage(signIn->first, signIn->second));
}

void handleSignInContinue(Service::Context& context, const httplib::Request& request,
                          httplib::Response& response) {
  if (!isOwnFormPost(context.ownHosts, request)) {
    reply::page(response, 403,
                refusalPage("This sign-in was sent from another site, so it was not carried out."));
    return;
  }
  const auto signIn = signInOf(request, response);
  if (!signIn)
    return;
  const auto issued = context.store.issueLoginToken(signIn->first, context.settings.secondsNow());
  if (!issued.ok()) {
    reply::page(response, 500, refusalPage(issued.problem()));
    return;
  }
  if (issued.value().newAccount)
    context.log("sign-in: new account made");
  const std::string location = redirectWithToken(signIn->second, issued.value().token);
  reply::page(response, 303, returningPage(location));
  response.set_header("Location", location);
}

void handleExchange(Service::Context& context, const httplib::Request&, httplib::Response& response,
                    const httplib::ContentReader& reader) {
  const Body body = readBody(reader, exchangeBodyLimit);
  if (!body.complete) {
    reply::error(response, 400, "The request was cut off before its end.");
    return;
  }
  if (body.tooLarge) {
    reply::error(response, 413, "The request is too large for a login token.");
    return;
  }
  const auto token = parseExchangeRequest(body.bytes);
  if (!token.ok()) {
    reply::error(response, 400, token.problem());
    return;
  }
  const auto exchange =
      context.store.exchangeLoginToken(token.value(), context.settings.secondsNow());
  if (!exchange.ok()) {
    reply::error(response, 500, exchange.problem());
    return;
  }
  const auto& issued = exchange.value().issued;
  if (!issued) {
    switch (exchange.value().refusal) {
      case TokenRefusal::used:
        reply::error(response, 401,
                     "This sign-in link has already been used. Sign in again from Murvel.");
        break;
      case TokenRefusal::expired:
        reply::error(response, 401,
                     "This sign-in link has expired: links last ten minutes. Sign in again from "
                     "Murvel.");
        break;
      case TokenRefusal::unknown:
        reply::error(response, 401, "The service does not know this sign-in link.");
        break;
    }
    return;
  }
  reply::json(response, 200,
              nlohmann::json{{"access_key", issued->accessKey}, {"email", issued->email}}.dump(
                  -1, ' ', false, nlohmann::json::error_handler_t::replace));
}

void handleAccountInfo(Service::Context& context, const httplib::Request& request,
                       httplib::Response& response) {
  if (const auto email = authorisedEmail(context, request, response)) {
    reply::json(response, 200,
                nlohmann::json{{"email", *email}}.dump(-1, ' ', false,
                                                       nlohmann::json::error_handler_t::replace));
  }
}

}  // namespace murvel::cloud
