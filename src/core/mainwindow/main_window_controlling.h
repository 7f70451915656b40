#pragma once

// MainWindowControlling: what the composition root asks of the main window
// model besides the gates: which page to show, fresh counts for it, the
// membership purchase page, and the stop at termination. Main thread.

namespace trelvis {

enum class MainTab { home, vocabulary, review, settings };

class MainWindowControlling {
 public:
  virtual ~MainWindowControlling() = default;

  virtual void selectTab(MainTab tab) = 0;
  virtual void requestHomeSummaryRefresh() = 0;
  virtual void requestMembershipStatusRefresh() = 0;
  virtual void openMembershipPurchase() = 0;
  virtual void stop() = 0;
};

}  // namespace trelvis
