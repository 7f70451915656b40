#pragma once

// FakeBusName: a well-known name on the session bus, owned through a connection of
// its own, whose every incoming method call is recorded and then either answered
// with an error or never answered at all. It stands in for a Secret Service that
// hangs, or for the keyring's prompter, so that a test can see whether a prompt
// was asked for.

#include <gio/gio.h>

#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace trelvis {

class FakeBusName {
 public:
  enum class Answer { error, never };

  FakeBusName(const std::string& name, Answer answer) : answer_(answer) {
    GError* error = nullptr;
    gchar* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    EXPECT_NE(address, nullptr) << (error ? error->message : "");
    if (!address) return;
    connection_ = g_dbus_connection_new_for_address_sync(
        address,
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, &error);
    g_free(address);
    EXPECT_NE(connection_, nullptr) << (error ? error->message : "");
    if (!connection_) return;
    filter_ = g_dbus_connection_add_filter(connection_, &FakeBusName::filter, this, nullptr);
    constexpr guint32 kDoNotQueue = 4;
    GVariant* reply = g_dbus_connection_call_sync(
        connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "RequestName", g_variant_new("(su)", name.c_str(), kDoNotQueue), G_VARIANT_TYPE("(u)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    EXPECT_NE(reply, nullptr) << (error ? error->message : "");
    if (!reply) return;
    guint32 result = 0;
    g_variant_get(reply, "(u)", &result);
    g_variant_unref(reply);
    EXPECT_EQ(result, 1u) << name << " is owned already";
  }

  ~FakeBusName() {
    if (!connection_) return;
    g_dbus_connection_remove_filter(connection_, filter_);
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
  }

  FakeBusName(const FakeBusName&) = delete;
  FakeBusName& operator=(const FakeBusName&) = delete;

  // "interface.member" of each call so far.
  std::vector<std::string> calls() const {
    std::lock_guard lock(mutex_);
    return calls_;
  }

 private:
  // Runs on GDBus's worker thread.
  static GDBusMessage* filter(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                              gpointer data) {
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL) {
      return message;
    }
    auto* self = static_cast<FakeBusName*>(data);
    const char* interface = g_dbus_message_get_interface(message);
    const char* member = g_dbus_message_get_member(message);
    {
      std::lock_guard lock(self->mutex_);
      self->calls_.push_back(std::string(interface ? interface : "") + "." +
                             (member ? member : ""));
    }
    if (self->answer_ == Answer::error) {
      GDBusMessage* reply = g_dbus_message_new_method_error(
          message, "org.freedesktop.DBus.Error.Failed", "%s", "refused by the test");
      g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                     nullptr);
      g_object_unref(reply);
    }
    g_object_unref(message);
    return nullptr;
  }

  const Answer answer_;
  GDBusConnection* connection_ = nullptr;
  guint filter_ = 0;
  mutable std::mutex mutex_;
  std::vector<std::string> calls_;
};

}  // namespace trelvis
