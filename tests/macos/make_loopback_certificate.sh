#!/bin/sh
# Makes a certificate for localhost, valid for a week, and its key: make_loopback_certificate.sh FOLDER
set -eu
mkdir -p "$1"
cat >"$1/settings" <<SETTINGS
[req]
prompt = no
distinguished_name = name
x509_extensions = extensions
[name]
CN = localhost
[extensions]
subjectAltName = DNS:localhost
extendedKeyUsage = serverAuth
SETTINGS
openssl req -x509 -newkey rsa:2048 -nodes -sha256 -days 7 -config "$1/settings" \
  -keyout "$1/key.pem" -out "$1/certificate.pem" 2>"$1/log" || { cat "$1/log" >&2; exit 1; }
