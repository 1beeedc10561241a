#pragma once

#include "Http.h"

#include <string>
#include <string_view>

// What browsers tell of a request, and what it says about where that came from.

namespace localservice {

/// The secret in the session's cookie, empty when there is none.
std::string_view sessionCookie(const Request& request);
/// Gives the browser the session's cookie, or takes it away when `secret` is empty.
Reply withSessionCookie(Reply reply, const Request& request, std::string_view secret);

/// Whether a form was sent from a page of this very site, as browsers tell by themselves (Fetch, RFC 6454).
bool isFromHere(const Request& request);
/// Whether somebody goes to this page of their own accord, rather than a page of another site or a look ahead.
bool isGoneTo(const Request& request);
/// Whether pages are given under the name asked for. Without encryption only under names that are always this
/// machine's: else a stranger's page could have its own name lead here and act as if it were ours.
bool isOurName(const Request& request);

/// `target` when it is path and query of this site and of no other, else the timesheet's. Never a page of signing in.
std::string pathHere(std::string_view target);
/// The page that a form of this site was sent from, as far as the browser tells.
std::string pathBefore(const Request& request);

} // namespace localservice
