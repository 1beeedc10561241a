#pragma once

#include "Http.h"

#include <string>
#include <string_view>

// What browsers reveal about a request and where it came from.

namespace localservice {

/// The secret in the session cookie, empty when there is none.
std::string_view sessionCookie(const Request& request);
/// Sets the session cookie, or deletes it when `secret` is empty.
Reply withSessionCookie(Reply reply, const Request& request, std::string_view secret);

/// Whether a form was sent from a page of this very site, as the browser reports (Fetch, RFC 6454).
bool isFromHere(const Request& request);
/// Whether a person navigated here themselves, rather than by another site's page or a prefetch.
bool isGoneTo(const Request& request);
/// Whether pages may be served under the requested name. Without encryption only under names that always mean this
/// machine: otherwise a foreign page could make its own name lead here and act as if it were ours.
bool isOurName(const Request& request);

/// `target` if it is path and query of this very site, else the timesheet's. Never a sign-in page.
std::string pathHere(std::string_view target);
/// The page that a form of this site was sent from, if the browser reports it.
std::string pathBefore(const Request& request);

} // namespace localservice
