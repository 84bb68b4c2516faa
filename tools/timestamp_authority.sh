#!/usr/bin/env bash
# Answers one HTTP request for a time stamp, from standard input to standard output. tools/check_package.sh
# uses it.
#
# tools/timestamp_authority.sh FOLDER
#   FOLDER  has key.pem and certificate.pem of the authority, and receives its files
. "$(dirname "$0")/script.sh"
script_arguments 1 "$@"
(($# == 1)) || script_refuse "The folder is missing"
cd "$1" || exit
length=0
while IFS= read -r line && line=${line%$'\r'} && [ -n "$line" ]; do
    [[ ${line,,} != content-length:* ]] || length=${line##*[: ]}
done
head -c "$length" >query
cat >configuration <<END
[tsa]
default_tsa = authority
[authority]
serial = serial
signer_cert = certificate.pem
signer_key = key.pem
signer_digest = sha256
default_policy = 1.2.3.4
digests = sha256
END
openssl ts -reply -config configuration -queryfile query -out reply
printf 'HTTP/1.0 200 OK\r\nContent-Type: application/timestamp-reply\r\n\r\n'
cat reply
