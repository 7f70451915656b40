#pragma once

// Enrollment of a looked-up word into the user's vocabulary, as the cards see
// it: the request a result prepares, the states of the card's enrollment
// control, and LearningEnrolling, the one operation the cards ask of the
// enrollment coordinator. The coordinator runs on the main thread and calls a
// completion once per operation, on the main thread.

#include <functional>
#include <optional>
#include <string>
#include <variant>

#include "base/uuid.h"
#include "core/account/auth_session_error.h"
#include "core/lookup/lookup_model.h"
#include "core/net/rest_failure.h"

namespace trelvis {

// What a tap on the enrollment control sends.
struct LearningEnrollmentRequest {
  std::string headword;
  std::string lookupLang;
  std::string partOfSpeech;
  std::string meaning;
  std::optional<std::string> phonetic;
  std::optional<std::string> sourceSentence;
  std::optional<std::string> sentenceTranslation;

  // The request for `entry`, trimmed; none when the headword, part of speech,
  // meaning or language is blank, which makes the entry not enrollable.
  static std::optional<LearningEnrollmentRequest> from(const TranslationEntry& entry);

  friend bool operator==(const LearningEnrollmentRequest&,
                         const LearningEnrollmentRequest&) = default;
};

enum class LearningEnrollmentResultStatus { enrolled, skipped };

// The closed failures of the enrollment endpoint.
struct LearningEnrollmentAPIError {
  using Http = rest_failure::Http;
  using Auth = rest_failure::Auth;
  using Network = rest_failure::Network;
  using Unauthenticated = rest_failure::Unauthenticated;
  using InvalidResponse = rest_failure::InvalidResponse;
  rest_failure::Case value;
  friend bool operator==(const LearningEnrollmentAPIError&,
                         const LearningEnrollmentAPIError&) = default;
};

// The failure a card shows on its enrollment control.
struct EnrollmentFailure {
  struct Api {
    LearningEnrollmentAPIError error;
    friend bool operator==(const Api&, const Api&) = default;
  };
  struct BuildUnavailable {  // no request could be prepared
    friend bool operator==(const BuildUnavailable&, const BuildUnavailable&) = default;
  };
  struct InvalidEntry {  // the entry cannot be enrolled
    friend bool operator==(const InvalidEntry&, const InvalidEntry&) = default;
  };
  struct Unknown {
    friend bool operator==(const Unknown&, const Unknown&) = default;
  };
  std::variant<Api, BuildUnavailable, InvalidEntry, Unknown> value;
  friend bool operator==(const EnrollmentFailure&, const EnrollmentFailure&) = default;
};

class LookupEnrollmentState {
 public:
  enum class Kind { failed, idle, optimisticallyEnrolled, enrolled, skipped };

  constexpr LookupEnrollmentState() = default;
  static LookupEnrollmentState idle() { return {}; }
  static LookupEnrollmentState optimisticallyEnrolled() {
    return LookupEnrollmentState(Kind::optimisticallyEnrolled);
  }
  static LookupEnrollmentState enrolled() { return LookupEnrollmentState(Kind::enrolled); }
  static LookupEnrollmentState skipped() { return LookupEnrollmentState(Kind::skipped); }
  static LookupEnrollmentState failed(EnrollmentFailure failure) {
    LookupEnrollmentState state(Kind::failed);
    state.failure_ = std::move(failure);
    return state;
  }

  Kind kind() const { return kind_; }
  const std::optional<EnrollmentFailure>& failure() const { return failure_; }
  // Enrolled, skipped, or on its way: nothing more to send.
  bool isSettledOrPending() const {
    return kind_ == Kind::optimisticallyEnrolled || kind_ == Kind::enrolled ||
           kind_ == Kind::skipped;
  }

  friend bool operator==(const LookupEnrollmentState&, const LookupEnrollmentState&) = default;

 private:
  explicit LookupEnrollmentState(Kind kind) : kind_(kind) {}
  Kind kind_ = Kind::idle;
  std::optional<EnrollmentFailure> failure_;
};

// What an enrollment ended in: the server's verdict, or the failure to show.
using LearningEnrollmentOutcome = std::variant<LearningEnrollmentResultStatus, EnrollmentFailure>;

class LearningEnrolling {
 public:
  using Completion =
      std::function<void(Uuid operationID, const LearningEnrollmentOutcome& outcome)>;

  virtual ~LearningEnrolling() = default;

  // Sends `request`; with a recent-lookup row, a second enrollment of the same
  // row joins the running one. Gives the operation's id.
  virtual Uuid enroll(const LearningEnrollmentRequest& request, std::optional<Uuid> historyLookupID,
                      Completion completion) = 0;
  // The state that the recent-lookup history keeps for a row; none without a
  // history or without that row.
  virtual std::optional<LookupEnrollmentState> historyEnrollmentState(
      Uuid historyLookupID) const = 0;
};

}  // namespace trelvis
