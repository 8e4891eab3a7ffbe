Where the client's options come from: the command line, the environment, a profile.

  $ . "$TESTDIR/setup.sh"
  $ accepted='<p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>'
  $ client() { "$CLIENT" "${patience[@]}" "$@" setPreset 2>&1 | hide | sed "s|$accepted|accepted|; s|$PWD|DIRECTORY|g"; }

  $ ORVANE_HOST=localhost ORVANE_PORT=$port ORVANE_CA=$CERTIFICATE client
  accepted
  $ ORVANE_HOST=nowhere.invalid ORVANE_PORT=1 ORVANE_CA=/dev/null client -H 127.0.0.1 -p "$port" --insecure
  accepted
  $ ORVANE_PORT=$port client --fingerprint "sha256 Fingerprint=$fingerprint"
  accepted
  $ export ORVANE_PORT=$port ORVANE_FINGERPRINT=$fingerprint
  $ ORVANE_USER=operator ORVANE_PASSWORD=only-for-this-test client
  accepted
  $ echo only-for-this-test > password
  $ ORVANE_PASSWORD=wrong client -u operator --password-file password
  accepted
  $ ORVANE_PASSWORD=wrong client -u operator
  orvane-client: not logged in: the host does not accept the account, and answers nothing
  $ client -u operator --password-file nowhere
  orvane-client: cannot read the password from "nowhere": No such file or directory (--help tells more)
  $ ORVANE_CA=$CERTIFICATE client
  orvane-client: --fingerprint and --ca exclude each other (--help tells more)
  $ unset ORVANE_PORT ORVANE_FINGERPRINT

  $ client --profile wall
  orvane-client: there is no profile "wall": cannot read "DIRECTORY/config/orvane-client/profiles.ini" (--help tells more)
  $ mkdir -p config/orvane-client
  $ printf '%s\n' '[wall]' 'host=localhost' "port=$port" "fingerprint=$fingerprint" 'user=operator' \
  >     "password-file=$PWD/password" '[typing]' 'hots=x' > config/orvane-client/profiles.ini
  $ client --profile wall
  accepted
  $ ORVANE_PASSWORD=wrong client --profile wall
  orvane-client: not logged in: the host does not accept the account, and answers nothing
  $ ORVANE_FINGERPRINT=${fingerprint//[0-9]/A} client --profile wall
  orvane-client: the certificate of localhost:* is refused: its fingerprint is FINGERPRINT, not the one given (glob)
  $ sed 's/\[wall\]/&\ninsecure=no/' config/orvane-client/profiles.ini > more && mv more config/orvane-client/profiles.ini
  $ client --profile wall
  orvane-client: the profile "wall" in "DIRECTORY/config/orvane-client/profiles.ini" has "insecure" as "no": it takes true or false (--help tells more)
  $ sed -i '/^insecure/d' config/orvane-client/profiles.ini
  $ client --profile wall -u other --no-login
  orvane-client: --user and --no-login exclude each other (--help tells more)
  $ client --system --password-file password
  orvane-client: --password-file goes with a user only (--help tells more)
  $ client --profile other
  orvane-client: "DIRECTORY/config/orvane-client/profiles.ini" has no profile "other", but: typing, wall (--help tells more)
  $ client --profile typing
  orvane-client: the profile "typing" in "DIRECTORY/config/orvane-client/profiles.ini" has an unknown key "hots"; there are: * (glob)

Trust on first use:

  $ client -p "$port" --trust-on-first-use
  orvane-client: 127.0.0.1:PORT is trusted from now on with the certificate FINGERPRINT
  accepted
  $ client -p "$port" --trust-on-first-use
  accepted
  $ echo "127.0.0.1:$port $(printf '0%.0s' {1..64})" > data/orvane-client/known-hosts
  $ client -p "$port" --trust-on-first-use
  orvane-client: the certificate of 127.0.0.1:PORT is refused: its fingerprint is FINGERPRINT, not the one of its first use (if the host has a new one, remove its line from "DIRECTORY/data/orvane-client/known-hosts")
  $ printf '127.0.0.1:%s zz' "$port" > data/orvane-client/known-hosts
  $ client -p "$port" --trust-on-first-use
  orvane-client: in "DIRECTORY/data/orvane-client/known-hosts": "zz" is no SHA-256 fingerprint: it takes 64 hexadecimal digits (--help tells more)
  $ printf 'other:1 zz' > data/orvane-client/known-hosts
  $ for user in 1 2 3 4; do client -H LocalHost -p "$port" --trust-on-first-use > "user$user" & users+=($!); done; wait "${users[@]}"; grep -hv accepted user*
  orvane-client: localhost:* is trusted from now on with the certificate FINGERPRINT (glob)
  $ grep -c localhost data/orvane-client/known-hosts
  1
