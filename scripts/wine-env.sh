# shellcheck shell=bash
# Sourced by every script that runs Wine programs unattended.

# wine_env PREFIX: the environment of Wine programs that run in PREFIX with
# nobody at the screen.
wine_env() {
  export WINEPREFIX=$1
  export WINEDEBUG=-all
  export WINEDLLOVERRIDES="mscoree,mshtml=" # no Mono or Gecko install prompts
  unset DISPLAY WAYLAND_DISPLAY
}
