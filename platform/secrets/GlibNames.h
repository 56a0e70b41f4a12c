#pragma once

// The names of what the headers of this folder pass on; only its sources know more about them.
// NOLINTBEGIN(bugprone-reserved-identifier): GLib's own names.
using GAsyncResult = struct _GAsyncResult;
using GCancellable = struct _GCancellable;
using GDBusConnection = struct _GDBusConnection;
using GError = struct _GError;
using GMainContext = struct _GMainContext;
using GObject = struct _GObject;
using SecretItem = struct _SecretItem;
using SecretService = struct _SecretService;
// NOLINTEND(bugprone-reserved-identifier)
