#!/bin/sh
# The web browser of the end-to-end test's desktop: it notes each address it is asked to open in
# $MURVEL_BROWSER_LOG, where the test takes over as the person at the browser.
printf '%s\n' "$1" >> "${MURVEL_BROWSER_LOG:?}"
