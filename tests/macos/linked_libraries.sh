#!/bin/sh
# Fails unless a program is linked with libraries of the system and with nothing else: linked_libraries.sh OTOOL PROGRAM
set -eu

# A line for each architecture, and a line with a tab in front for each of its libraries.
libraries=$("$1" -L "$2" | sed -n 's/^[[:space:]]\{1,\}\(.*\) (compatibility .*/\1/p')
case $libraries in
  */usr/lib/libSystem*) ;;
  *) echo "not even the system's own library was found in $2: $libraries"; exit 1 ;;
esac
others=$(echo "$libraries" | grep -v -e '^/usr/lib/' -e '^/System/' || true)
[ -z "$others" ] || { echo "linked with what is not the system's:"; echo "$others"; exit 1; }
