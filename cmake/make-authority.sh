#!/bin/sh
# make-authority.sh OPENSSL DIR: makes a certificate authority for the sandbox and the tests. Only
# this user can read the key. An existing authority is kept, because gateways hold its certificates.
set -eu
openssl=$1
dir=$2
umask 077
mkdir -p "$dir"
if [ ! -s "$dir/authority.pem" ] || [ ! -s "$dir/authority.key" ]; then
    "$openssl" req -x509 -newkey rsa:2048 -nodes -sha256 -days 3650 \
        -subj "/O=KVG-Gate sandbox/CN=Sandbox authority" \
        -addext "basicConstraints=critical,CA:TRUE" \
        -addext "keyUsage=critical,keyCertSign,cRLSign" \
        -keyout "$dir/authority.key.new" -out "$dir/authority.pem.new" 2>/dev/null
    mv "$dir/authority.key.new" "$dir/authority.key"
    mv "$dir/authority.pem.new" "$dir/authority.pem"
fi
touch "$dir/authority.key" "$dir/authority.pem"
