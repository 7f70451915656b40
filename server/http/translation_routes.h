#pragma once

// The translation endpoints: the streams of hover ("/v1/lookup/stream"), area
// ("/v1/paragraph-translation/stream"), select and input, the pronunciation
// request and the audio its links point at. Each stream's handler reads as the
// steps of its request: parse the body, authorise the bearer token, prepare the
// engine's job (a refused or saturated request costs nothing), charge the quota
// (429 when it is used up, before any work), then stream the engine's events; a
// charge is given back when the engine fails before its first event.

namespace trelvis::server {

class AccountService;
class HttpServer;
class LookupEngine;
class MembershipService;
class PronunciationLinks;

struct TranslationServices {
  AccountService& accounts;
  MembershipService& membership;
  // Null when the server runs without its language engines: every translation
  // endpoint then answers 503.
  LookupEngine* engine;
  const PronunciationLinks& links;
};

void addTranslationRoutes(HttpServer& server, TranslationServices services);

}  // namespace trelvis::server
