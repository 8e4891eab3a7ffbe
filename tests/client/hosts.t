Which hosts the client trusts, and how it handles those that misbehave.

  $ . "$TESTDIR/setup.sh"
  $ trusting setPreset presetname=N
  orvane-client: the certificate of 127.0.0.1:PORT is refused: REASON (if this is the right host, trust it with --fingerprint FINGERPRINT)
  [4]
  $ trusting --show-certificate | grep -v '^Valid'
  Subject: localhost
  Issuer: localhost
  SHA-256 fingerprint: FINGERPRINT
  $ trusting --fingerprint "$fingerprint" setPreset presetname=N
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  $ trusting --fingerprint "$(tr -d : <<< "${fingerprint,,}")" setPreset presetname=N
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  $ trusting --fingerprint "${fingerprint//[0-9]/A}" setPreset presetname=N
  orvane-client: the certificate of 127.0.0.1:PORT is refused: its fingerprint is FINGERPRINT, not the one given
  [4]
  $ trusting --fingerprint AB:CD setPreset presetname=N
  orvane-client: invalid SHA-256 fingerprint "AB:CD": it needs 64 hexadecimal digits (see --help)
  [1]
  $ trusting --ca "$CERTIFICATE" setPreset presetname=N
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  $ trusting --ca /dev/null setPreset presetname=N
  orvane-client: "/dev/null" contains no PEM certificate (see --help)
  [1]

Without TLS:

  $ forced --port 1 c
  orvane-client: cannot connect to 127.0.0.1:PORT: Connection refused
  [4]
  $ against plain 'HTTP/1.0 400 Bad Request\r\n\r\n' c
  orvane-client: no TLS connection to 127.0.0.1:PORT: REASON
  [4]
  $ against shut '' c
  orvane-client: no TLS connection to 127.0.0.1:PORT: REASON (the host may have reached its limit of clients)
  [4]
  $ in_vain 'no TLS connection' against plain '' c
  orvane-client: no TLS connection to 127.0.0.1:PORT within TIME
  [4]

With TLS, and an answer that is late, to something else, incomplete or not XML:

  $ accepted() { echo "<commandAccepted><commandname>$1</commandname></commandAccepted>\r\n\r\n"; }
  $ against tls '' c
  orvane-client: 127.0.0.1:PORT closed the connection, no answer to c
  [3]
  $ against tls '<commandAccepted><co' c
  orvane-client: 127.0.0.1:PORT closed the connection in the middle of a message, after 20 bytes
  [3]
  $ against tls "$(accepted c)" c
  <commandAccepted><commandname>c</commandname></commandAccepted>
  $ against tls "$(accepted b)<commandRejected><commandname>c</commandname><reason>r</reason></commandRejected>\r\n\r\n" c
  <commandAccepted><commandname>b</commandname></commandAccepted>
  <commandRejected><commandname>c</commandname><reason>r</reason></commandRejected>
  orvane-client: c was rejected: r
  [2]
  $ against tls "$(accepted getPresetsList)<getPresetsListResponse/>\r\n\r\n" getPresetsList
  <commandAccepted><commandname>getPresetsList</commandname></commandAccepted>
  <getPresetsListResponse/>
  $ against tls '<updateRecorderContentsFinished/>\r\n\r\n<anything/>\r\n\r\n' getPertinentInfo
  <updateRecorderContentsFinished/>
  <anything/>
  $ against tls '<updateRecorderContentsFinished/>\r\n\r\n' updateRecorderContents
  <updateRecorderContentsFinished/>
  $ against tls "$(accepted c)<news/>\r\n\r\n" --wait news c
  <commandAccepted><commandname>c</commandname></commandAccepted>
  <news/>
  $ against tls '<preset name="A & B" />\r\n\r\n' getPresetsList
  <preset name="A & B" />
  orvane-client: the answer is not well-formed XML: REASON
  [5]
  $ for answer in '\xff\xfe' '' '<p:getPresetsListResponse/>' '<commandAccepted><commandname>c</commandname></commandAccept>'; do
  >     against tls "$answer\r\n\r\n" c
  > done
  \xff\xfe (esc)
  orvane-client: the answer is not well-formed XML: REASON
  |
  orvane-client: the answer is not well-formed XML: it is empty
  <p:getPresetsListResponse/>
  orvane-client: the answer is not well-formed XML: REASON
  <commandAccepted><commandname>c</commandname></commandAccept>
  orvane-client: the answer is not well-formed XML: REASON
  [5]
  $ in_vain 'end-of-query-1' against silent '' getPertinentInfo
  orvane-client: no answer to getPertinentInfo within TIME
  host got: <getPertinentInfo></getPertinentInfo>
  host got: <end-of-query-1/>
  [3]

If a host does not answer a command, its answer to the next one, which is not shown, proves that. A notice is awaited:

  $ against second "$(rejected end-of-query-1)" getPertinentInfo
  orvane-client: the host sent no answer to getPertinentInfo
  host got: <getPertinentInfo></getPertinentInfo>
  host got: <end-of-query-1/>
  [3]
  $ against second "$(rejected end-of-query-1)<updateRecorderContentsFinished/>\r\n\r\n" updateRecorderContents
  <updateRecorderContentsFinished/>
  host got: <updateRecorderContents></updateRecorderContents>
  host got: <end-of-query-1/>

  $ in_vain 'still running' against second "$(rejected end-of-query-1)" updateRecorderContents
  orvane-client: no updateRecorderContentsFinished after updateRecorderContents within TIME; the refresh is still running (use a longer --timeout)
  host got: <updateRecorderContents></updateRecorderContents>
  host got: <end-of-query-1/>
  [3]

A late answer is not taken for the answer to the next command:

  $ twice() { printf '%s\n' getPresetsList getPresetsList | against late '<getPresetsListResponse><preset name="COUNT"/></getPresetsListResponse>\r\n\r\n' --json; }
  $ in_vain '"2"' twice
  orvane-client: line 1: no answer to getPresetsList within TIME
  {"presets":["2"],"reply":"presets"}
  [3]

Nor is a second answer to the same command:

  $ printf '%s\n' getPertinentInfo getPertinentInfo | against more '<a/>\r\n\r\n' --quiet
  orvane-client: line 2: the host sent no answer to getPertinentInfo
  [3]

An answer costs in proportion to its length, and the time-out applies even if the answer never stops:

  $ many() { head -c "$1" /dev/zero | sed "s|\x00|$2|g"; }
  $ against tls "$(many 10000 '<a>')\r\n\r\n" --pretty c | awk '{count = gsub(/<a>/, ""); print count ":" $0}'
  10000:
  0:orvane-client: the answer is too expensive to read: Its elements are nested too deep
  $ against tls "$(many 1000 '<a>')$(many 1000 '</a>')\r\n\r\n" --pretty c | wc -c
  7001
  $ in_vain 'no answer to c' against drip '' c
  orvane-client: no answer to c within TIME
  [3]
  $ python_client() {
  >     ORVANE_PASSWORD=x "$PYTHON" "$TESTDIR/peer.py" drip '' "$TESTDIR/../../examples/client-python/orvane_client.py" \
  >         --user x --pin "$fingerprint" "${patience[@]}" '<c/>' 2>&1 | sed 's/(.*)/(REASON)/'
  > }
  $ in_vain 'No reply' python_client
  No reply (REASON). Is the password right? Some commands are never answered.
  $ in_vain 'commandAccepted*no answer' against endless "$(accepted b)" c | sort -u
  <commandAccepted><commandname>b</commandname></commandAccepted>
  orvane-client: no answer to c within TIME

A host is checked:

  $ at_ease orvane check --apply
  ok       certificate             localhost                               valid until DATE
  ok       without a login         no answer                               clients are not served without a login
  ok       no-such-command         rejected  TIME  the login is valid, and unknown commands are rejected
  ok       showTrack               rejected  TIME  without a track the host is not called
  ok       getPresetsList          1 name  TIME  Night
  ok       getRecorderList         1 name  TIME  North gate
  ok       getPertinentInfo        <info>  TIME  the host's own answer
  ok       showLive                accepted, split 0  TIME  check that the display shows it
  ok       showTrack               accepted, split 0  TIME  check that the display shows it
  ok       showLiveAtSubsplit      accepted  TIME  check that the display shows it
  ok       setDetailViews          accepted  TIME  check that the display shows it
  ok       setSplitMode            accepted  TIME  check that the display shows it
  ok       setPreset               accepted  TIME  check that the display shows it
  ok       updateRecorderContents  rejected  TIME  a refresh is already running, or cannot be started
  All results are right.
  $ calls 10
  getPresetsList
  getRecorderList
  getPertinentInfo <getPertinentInfo><about>orvane-client</about></getPertinentInfo>
  showLive North gate 1 0 0
  showTrackByName North gate Monday 1 -1 0 0 0 0
  showLiveAtSubsplit 0 1 0
  setDetailViews 0 1 0
  setSplitMode 0
  setPreset Night
  updateRecorderContents
  $ at_ease orvane check | grep -v ^ok | uniq -cw 8 | sed 's/^ *//'
  7 skipped  showLive                not sent                                sent only with --apply
  1 All results are right.
  $ ORVANE_PASSWORD=wrong orvane --user operator check
  ok       certificate             localhost                               valid until DATE
  ok       without a login         no answer                               clients are not served without a login
  WRONG    no-such-command         no answer  TIME  not logged in: the host did not accept the account (it sent no answer)
  [8]
  $ in_vain 'not byte for byte*closed the connection' against tls '<getPresetsListResponse/>\r\n\r\n' check | head -4
  ok       certificate             localhost                               valid until DATE
  ok       without a login         no answer                               clients are not served without a login
  WRONG    no-such-command         wrong answer  TIME  not byte for byte as in the protocol: <getPresetsListResponse/>
  WRONG    showTrack               no answer  TIME  127.0.0.1:PORT closed the connection, no answer to showTrack

  $ against many 50000 check | grep -o 'getRecorderList *50000 names'
  getRecorderList         50000 names
  $ against many 1 check --apply | grep skipped
  skipped  showTrack               not sent                                the host lists no such name
  $ at_ease against many 1 --json check | grep -o '^{"check":"getRecorderList","meaning":"North gate","ms":'
  {"check":"getRecorderList","meaning":"North gate","ms":

A terminal obeys nothing that a host sends, so a problem can always be shown on one:

  $ against tls '<commandRejected><commandname>c</commandname><reason>\xc2\x9b2J\xe2\x80\xae</reason></commandRejected>\r\n\r\n' \
  >     c | grep orvane-client
  orvane-client: c was rejected: \x9b2J\u202e

An indented answer keeps its prefixes, or is unchanged. A trace contains no control characters, and no password of a
login that was written by hand:

  $ against tls '<p:list xmlns:p="u"> <r n="&lt;&quot;">a &amp; b</r><e></e></p:list>\r\n\r\n' --pretty c
  <p:list xmlns:p="u">
    <r n="&lt;&quot;">a &amp; b</r>
    <e/>
  </p:list>
  $ against tls 'no <xml\r\n\r\n' --pretty c
  no <xml
  orvane-client: the answer is not well-formed XML: REASON
  [5]
  $ printf '<loginClient><p:password\n>geheim' | against tls '\x1b[2J\xff\r\n\r\n' --trace --file -
  |> <loginClient><p:password\n
  |> >***\n
  |> <end-of-query-0/>\r\n
  |> \r\n
  |< <commandRejected>* (glob)
  |< \r\n
  $ against tls '\x1b[2J\xff\r\n\r\n' --trace --quiet c | grep 2J
  |< \\x1b[2J\xc3\xbf\\r\\n (esc)
