#include "platform/linux/x11/X11Accessibility.h"

#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>

#include "platform/linux/x11/XConnection.h"

namespace murvel::linux_platform {

bool X11Accessibility::isProcessTrusted() {
  auto connection = x11::XConnection::open();
  if (!connection)
    return false;
  Display* display = connection->display();
  int opcode = 0;
  int event = 0;
  int error = 0;
  if (!XQueryExtension(display, "XInputExtension", &opcode, &event, &error))
    return false;
  int major = 2;
  int minor = 0;
  if (XIQueryVersion(display, &major, &minor) != Success || major < 2)
    return false;
  return XTestQueryExtension(display, &event, &error, &major, &minor) != 0;
}

}  // namespace murvel::linux_platform
