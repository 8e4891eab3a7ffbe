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
  $ client -H "localhost:$port" --insecure
  accepted
  $ client -H "[::1]:$port" --insecure
  accepted
  $ client -H "::1" -p "$port" --insecure
  accepted
  $ client -H "localhost:$port" -p 1 --insecure
  orvane-client: "localhost:*" already contains a port; do not use --port as well (see --help) (glob)
  $ export ORVANE_PORT=$port ORVANE_FINGERPRINT=$fingerprint
  $ ORVANE_USER=operator ORVANE_PASSWORD=only-for-this-test client
  accepted
  $ echo only-for-this-test > password
  $ ORVANE_PASSWORD=wrong client -u operator --password-file password
  accepted
  $ ORVANE_PASSWORD=wrong client -u operator
  orvane-client: not logged in: the host did not accept the account (it sent no answer)
  $ client -u operator --password-file - < password
  accepted
  $ (cat password; echo setPreset) | "$CLIENT" -u operator --password-file - | sed "s|$accepted|accepted|"
  accepted
  $ client -u operator --password-file nowhere
  orvane-client: cannot read the password from "nowhere": No such file or directory (see --help)
  $ ORVANE_CA=$CERTIFICATE client
  orvane-client: --fingerprint and --ca cannot be combined (see --help)
  $ unset ORVANE_PORT ORVANE_FINGERPRINT

  $ client --profile wall
  orvane-client: no profile "wall": cannot read "DIRECTORY/config/orvane-client/profiles.ini" (see --help)
  $ mkdir -p config/orvane-client
  $ printf '%s\n' '[wall]' 'host=localhost' "port=$port" "fingerprint=$fingerprint" 'user=operator' \
  >     "password-file=$PWD/password" '[typing]' 'hots=x' > config/orvane-client/profiles.ini
  $ client --profile wall
  accepted
  $ ORVANE_HOST=nowhere.invalid ORVANE_PORT=1 ORVANE_USER=x ORVANE_PASSWORD=wrong ORVANE_CA=/dev/null client --profile wall
  accepted
  $ client --profile wall --fingerprint "${fingerprint//[0-9]/A}"
  orvane-client: the certificate of localhost:* is refused: its fingerprint is FINGERPRINT, not the one given (glob)
  $ sed 's/\[wall\]/&\ninsecure=no/' config/orvane-client/profiles.ini > more && mv more config/orvane-client/profiles.ini
  $ client --profile wall
  orvane-client: Unexpected value after '--insecure'. (see --help)
  $ sed -i '/^insecure/d' config/orvane-client/profiles.ini
  $ client --profile wall -u other --no-login
  orvane-client: --user and --no-login cannot be combined (see --help)
  $ client --system --password-file password
  orvane-client: --password-file needs a user (see --help)
  $ client --profile other
  orvane-client: "DIRECTORY/config/orvane-client/profiles.ini" has no profile "other"; it has: typing, wall (see --help)
  $ client --profile typing
  orvane-client: unknown key "hots" in profile "typing" of "DIRECTORY/config/orvane-client/profiles.ini"; known keys: * (glob)

Trust on first use, after which the host is known without an option:

  $ client -p "$port"
  orvane-client: the certificate of 127.0.0.1:PORT is refused: REASON (if this is the right host, trust it with --fingerprint FINGERPRINT)
  $ client -p "$port" --trust-on-first-use
  orvane-client: 127.0.0.1:PORT is now trusted with the certificate FINGERPRINT
  accepted
  $ client -p "$port"
  accepted
  $ printf '[127.0.0.1]\n%s=%s\n' "$port" "${fingerprint//[0-9]/A}" > data/orvane-client/known-hosts
  $ for option in "" --trust-on-first-use; do client -p "$port" $option; done
  orvane-client: the certificate of 127.0.0.1:PORT is refused: IT HAS CHANGED, someone may be intercepting the connection: its fingerprint is FINGERPRINT, but was * at first use (only if the host has a new certificate: orvane-client --forget 127.0.0.1:*) (glob)
  orvane-client: the certificate of 127.0.0.1:PORT is refused: IT HAS CHANGED, someone may be intercepting the connection: its fingerprint is FINGERPRINT, but was * at first use (only if the host has a new certificate: orvane-client --forget 127.0.0.1:*) (glob)
  $ "$CLIENT" --forget "127.0.0.1:$port"
  $ "$CLIENT" --forget "127.0.0.1:$port" 2>&1 | hide
  orvane-client: 127.0.0.1:PORT is not a known host (see --help)
  $ for user in 1 2 3 4; do client -H LocalHost -p "$port" --trust-on-first-use > "user$user" & users+=($!); done; wait "${users[@]}"; cat user* | grep -c accepted
  4
  $ sed "s/$fingerprint/FINGERPRINT/; s/$port/PORT/" data/orvane-client/known-hosts
  [localhost]
  PORT=FINGERPRINT
  $ XDG_DATA_HOME=/dev/null client -p "$port" --trust-on-first-use
  orvane-client: the certificate of 127.0.0.1:PORT is refused: cannot write "/dev/null/orvane-client/known-hosts"
  $ env -u HOME -u XDG_CONFIG_HOME "$CLIENT" --profile wall 2>&1 | grep -c '"//*\.config'
  0
  [1]
