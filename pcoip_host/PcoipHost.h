#pragma once

#include "libs/pcoip_mfw/PcoipHostTable.h"

/// A provider of the table of virtual channel operations: what stands between a plugin and the remote side.
///
/// Entries of the table carry no word that says which host is meant (pcoip_get_connection_state has no argument at
/// all), so a process has one host at a time, and the table's functions find it through a pointer of their own.
/// Owner: the program that loads the plugin. It outlives the plugin: constructed before the load entry is called,
/// destroyed after the unload entry has returned and every channel's threads have ended.
/// Threads: all methods any thread. Callbacks come on threads of the host's own, or, where a host says so, on the
/// caller's; never on a thread that is inside a call of the table.
/// Life cycle: constructed -> the plugin registers through the table -> (connect -> disconnect)* -> destroyed.
class PcoipHost {
public:
   PcoipHost() = default;
   PcoipHost(const PcoipHost &) = delete;
   PcoipHost &operator=(const PcoipHost &) = delete;
   virtual ~PcoipHost() = default;

   /// For the load entry. The same object for the host's whole life.
   [[nodiscard]] virtual const PcoipHostTable &table() const = 0;

   /// Brings the session up, and tells the plugin. False when that can't be; the host says why in its own way.
   [[nodiscard]] virtual bool connect() = 0;
   /// Takes it down: channels close, the plugin is told. Nothing when there is none.
   virtual void disconnect() = 0;
   [[nodiscard]] virtual bool connected() const = 0;

   /// Asks the other side for the channel `name`, reliable or with a lossy twin: there the plugin's connect callback
   /// comes with event 1. False when there is no session.
   [[nodiscard]] virtual bool openByName(const char *name, bool lossy) = 0;
};
