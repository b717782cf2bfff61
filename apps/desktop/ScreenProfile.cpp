// X11 stores the profile as a property of the root window. Under Wayland the compositor manages
// colours itself.

#include "apps/desktop/ScreenProfile.h"

#include <cstdlib>
#include <memory>
#include <string_view>

#include <xcb/xcb.h>

#include <QGuiApplication>

namespace desktop {
namespace {

constexpr std::string_view propertyName = "_ICC_PROFILE";
constexpr uint32_t longest = 1 << 22; // of the property, in words of 4 bytes

template <class Reply> using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

} // namespace

photo::Bytes screenProfile() {
  const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
  xcb_connection_t* connection = x11 ? x11->connection() : nullptr;
  if (!connection)
    return {};
  const Owned<xcb_intern_atom_reply_t> atom(
      xcb_intern_atom_reply(
          connection,
          xcb_intern_atom(connection, 1, uint16_t(propertyName.size()), propertyName.data()),
          nullptr),
      std::free);
  if (!atom || atom->atom == XCB_ATOM_NONE)
    return {};
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  const Owned<xcb_get_property_reply_t> reply(
      xcb_get_property_reply(
          connection,
          xcb_get_property(connection, 0, root, atom->atom, XCB_ATOM_CARDINAL, 0, longest),
          nullptr),
      std::free);
  if (!reply || reply->format != 8)
    return {};
  const auto* bytes = static_cast<const uint8_t*>(xcb_get_property_value(reply.get()));
  return photo::Bytes(bytes, bytes + xcb_get_property_value_length(reply.get()));
}

} // namespace desktop
