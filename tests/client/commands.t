What the client sends, what it prints, and how it exits. First with the example host:

  $ . "$TESTDIR/setup.sh"
  $ orvane showLive 'recorder=Nörd & gate' camera=3 commandtag=x
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><command>showLive</command><splitid>0</splitid><commandtag>x</commandtag></p:commandAccepted>
  $ calls 1
  showLive N\xc3\xb6rd & gate 3 0 0 (esc)
  $ orvane --pretty getRecorderList
  <p:getRecorderListResponse xmlns:p="http://www.halden.example/ravo_1_0/">
    <recorder name="North gate" ip="192.0.2.10" usename="" password="" maxnumchannels="16">
      <track name="Monday"/>
      <track name="Tuesday"/>
    </recorder>
  </p:getRecorderListResponse>
  $ ORVANE_PASSWORD=only-for-this-test orvane --trace --user operator getRecorderList
  |> <loginClient><username>operator</username><password>***</password></loginClient>\r\n
  |> \r\n
  |> <end-of-query-0/>\r\n
  |> \r\n
  |< <p:commandRejected xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>end-of-query-0</commandname><reason>Unknown command</reason></p:commandRejected>\r\n
  |< \r\n
  |> <getRecorderList></getRecorderList>\r\n
  |> \r\n
  |< <p:getRecorderListResponse xmlns:p="http://www.halden.example/ravo_1_0/"><recorder name="North gate" ip="192.0.2.10"><track name="Monday" /><track name="Tuesday" /></recorder></p:getRecorderListResponse>\r\n
  |< \r\n
  <p:getRecorderListResponse xmlns:p="http://www.halden.example/ravo_1_0/"><recorder name="North gate" ip="192.0.2.10"><track name="Monday" /><track name="Tuesday" /></recorder></p:getRecorderListResponse>
  $ orvane --file - <<< '<setPreset><presetname>N</presetname></setPreset>'
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  $ orvane showTrack recorder=R
  <p:commandRejected xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>showTrack</commandname><reason>showTrack command without valid track ID or track name</reason></p:commandRejected>
  orvane-client: showTrack was rejected: showTrack command without valid track ID or track name
  [2]
  $ orvane loginClient username=x
  orvane-client: not logged in: the host did not accept the account (it sent no answer)
  [7]
  $ orvane loginClient username=operator password=only-for-this-test
  $ printf '%s\n' 'loginClient username=operator password=only-for-this-test' getPresetsList | orvane --no-login --quiet
  $ forced --wait news nope
  <p:commandRejected xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>nope</commandname><reason>Unknown command</reason></p:commandRejected>
  orvane-client: nope was rejected: Unknown command
  [2]
  $ orvane --no-login setPreset
  orvane-client: not logged in: a host sends no answer before a login
  [7]
  $ printf 'setPreset\nsetPreset\n' | ORVANE_PASSWORD=wrong orvane --user operator
  orvane-client: line 1: not logged in: the host did not accept the account (it sent no answer)
  [7]
  $ "$CLIENT" --insecure --port "$port" getPresetsList > /dev/full
  orvane-client: cannot write to standard output: No space left on device
  [6]
  $ without_reader "$CLIENT" --insecure --port "$port" getPresetsList
  [6]

  $ env -i "$CLIENT" --insecure --port "$port" --quiet getPresetsList
  $ timeout 300 "$CLIENT" --insecure --port "$port" <&-
  $ "$CLIENT" --insecure --port "$port" getPresetsList >&-
  orvane-client: cannot write to standard output: Bad file descriptor
  [6]

A document is well-formed whatever the values are, keeps the order of the keys, and puts groups of one name together:

  $ sent setPreset presetname=$'a\r\n\r\n\tb'
  host got: <setPreset><presetname>a&#13;&#10;&#13;&#10;&#9;b</presetname></setPreset>
  $ sent getPertinentInfo b=1 a=x=y:z 's:n=a\,b\\,m=\n' c= 's:n=<">'
  host got: <getPertinentInfo><b>1</b><a>x=y:z</a><ss><s n="a,b\" m="\n"/><s n="&lt;&quot;&gt;"/></ss><c></c></getPertinentInfo>
  $ sent setDetailViews subsplit:id=0,rbx=0.5,rby=0.25 splitid=2 subsplit:id=1,objectid=77
  host got: <setDetailViews><subsplits><subsplit id="0" rbx="0.5" rby="0.25"/><subsplit id="1" objectid="77"/></subsplits><splitid>2</splitid></setDetailViews>

What it does not send:

  $ refused << 'END'
  > orvane --bogus
  > orvane --port 65536 setPreset
  > orvane --timeout nan setPreset
  > orvane --ca x setPreset
  > orvane --quiet --json showTrack
  > orvane --file nowhere.xml
  > orvane --file - setPreset
  > orvane --file - <<< $'<a>\r\n\r\n</a>'
  > orvane --wait notice < /dev/null
  > setsid --wait "$CLIENT" --user operator setPreset
  > orvane "a x='1'"
  > orvane c 1a=x
  > orvane c s:a=1,a=2
  > orvane c s:
  > orvane c a=$'\x01'
  > orvane shwLive camera=1
  > orvane showLive camera=3 camera=4
  > END
  Unknown option 'bogus'.
  invalid port "65536": use a number from 1 to 65535
  invalid timeout "nan": use a number of seconds above 0, at most 86400
  --ca and --insecure cannot be combined
  --json and --quiet cannot be combined
  cannot read "nowhere.xml": No such file or directory
  the command "setPreset" and --file cannot be combined
  cannot send "-": the document contains an empty line (CR LF CR LF), which would split it
  --wait works only with one command
  no password for "operator": set ORVANE_PASSWORD, use --password-file, or enter it at a terminal
  invalid command "a x='1'": not an XML name
  invalid key "1a": not an XML name
  duplicate field "a" in group "s"
  invalid field "" in group "s": write field=value
  the value of "a" contains U+0001, which XML does not allow
  unknown command "shwLive" (use --force to send it anyway)
  duplicate key "camera": the host uses only the first (use --force to send it anyway)

What is not in the protocol, or only as something else, is sent only with --force:

  $ printf '%s\n' 'showLive split=1' 'showLive cammera=1' 'showLive zzzzzzzz=1' 'showLive camera=3x' 'showLive camera=" 0x1F"' 'showLive camera=0x1F' \
  >     'showLive camera=0X10' 'showTrack track=a time=1e3' 'setDetailViews subsplit:id=1,x=2' 'showLive subsplit:id=1' \
  >     'setDetailViews subsplits:id=1' 'setDetailViews subsplit:id=0x1' 'setDetailViews subsplit:ltx=.5,rby=inf' \
  >     'getPertinentInfo anything=goes any:thing=too' | orvane 2>&1 | sed 's/ (use --force to send it anyway)//'
  orvane-client: line 1: "split" is not a key of showLive
  orvane-client: line 2: "cammera" is not a key of showLive
  orvane-client: line 3: "zzzzzzzz" is not a key of showLive
  orvane-client: line 4: invalid number "3x" for camera
  orvane-client: line 5: invalid number " 0x1F" for camera
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><command>showLive</command><splitid>0</splitid></p:commandAccepted>
  orvane-client: line 7: invalid number "0X10" for camera
  orvane-client: line 8: invalid number "1e3" for time
  orvane-client: line 9: "x" is not a field of a subsplit
  orvane-client: line 10: "subsplit" is not a group of showLive
  orvane-client: line 11: "subsplits" is not a group of setDetailViews
  orvane-client: line 12: invalid number "0x1" for id
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setDetailViews</commandname></p:commandAccepted>
  <info>Nothing is shown</info>
  $ calls 3
  showLive  31 0 0
  setDetailViews -1 0 0
  getPertinentInfo <getPertinentInfo><anything>goes</anything><anys><any thing="too"/></anys></getPertinentInfo>

For scripts:

  $ printf '%s\n' 'showLive splitid=2 commandtag="a b"' 'showTrack recorder=R' getRecorderList getPresetsList nope \
  >     updateRecorderContents 'getPertinentInfo x=1' | forced --json
  {"command":"showLive","reply":"accepted","split":2,"tag":"a b"}
  {"command":"showTrack","reason":"showTrack command without valid track ID or track name","reply":"rejected"}
  orvane-client: line 2: showTrack was rejected: showTrack command without valid track ID or track name
  {"recorders":[{"ip":"192.0.2.10","maxnumchannels":"16","name":"North gate","password":"","tracks":["Monday","Tuesday"],"usename":""}],"reply":"recorders"}
  {"presets":["Night"],"reply":"presets"}
  {"command":"nope","reason":"Unknown command","reply":"rejected"}
  orvane-client: line 5: nope was rejected: Unknown command
  {"command":"updateRecorderContents","reason":"Recorder list update already running","reply":"rejected"}
  orvane-client: line 6: updateRecorderContents was rejected: Recorder list update already running
  {"document":"<info>Nothing is shown</info>","reply":"other"}
  [2]
  $ against tls '<updateRecorderContentsFinished/>\r\n\r\n' --json updateRecorderContents
  {"reply":"refreshFinished"}
  $ against tls '\xff"\r\n\r\n' --json c
  {"document":"\xc3\xbf\\"","reason":"it is not UTF-8","reply":"unreadable"} (esc)
  orvane-client: the answer is not well-formed XML: REASON
  [5]
  $ list() { echo "<p:$1 xmlns:p=\"http://www.halden.example/ravo_1_0/\">$2</p:$1>\r\n\r\n"; }
  $ against tls "$(list getPresetsListResponse '<preset name="Day & dusk" /><preset name="a<b" c" />')" --json getPresetsList
  {"presets":["Day & dusk","a<b\" c"],"reply":"presets"}
  $ against tls "$(list getRecorderListResponse '<recorder name="R&D" ip="::1"><track name="a"b" /></recorder><recorder name="<" ip="" usename="u&" password="">" maxnumchannels="4"></recorder>')" \
  >     --json getRecorderList
  {"recorders":[{"ip":"::1","name":"R&D","tracks":["a\"b"]},{"ip":"","maxnumchannels":"4","name":"<","password":"\">","tracks":[],"usename":"u&"}],"reply":"recorders"}
  $ against tls "$(list getPresetsListResponse '<preset name="Day & dusk" />')" --pretty getPresetsList
  <p:getPresetsListResponse xmlns:p="http://www.halden.example/ravo_1_0/"><preset name="Day & dusk" /></p:getPresetsListResponse>
  $ against tls "$(list getPresetsListResponse '<preset name="a">&</preset>')" --json getPresetsList
  {"document":*,"reply":"unreadable"} (glob)
  orvane-client: the answer is not well-formed XML: REASON
  [5]
  $ orvane --quiet showTrack
  orvane-client: showTrack was rejected: showTrack command without valid track ID or track name
  [2]

Lines from a pipe: all are sent, and the status is that of the first failure.

  $ printf '%b' "# first\n\nsetPreset presetname='A b'\r\nsetPreset oops\nsetPreset \"open\nsetPreset presetname=\xff\n" \
  >     'nope\nsetPreset presetname=C' | forced
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  orvane-client: line 4: invalid parameter "oops": write key=value
  orvane-client: line 5: unclosed quote, or backslash at the end of the line
  orvane-client: line 6: the value of "presetname" is not UTF-8
  <p:commandRejected xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>nope</commandname><reason>Unknown command</reason></p:commandRejected>
  orvane-client: line 7: nope was rejected: Unknown command
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  [1]
  $ calls 2
  setPreset A b
  setPreset C

A message longer than what a host reads at once is sent in ASCII:

  $ long=$(printf 'ü%.0s' {1..5000})
  $ printf 'setPreset presetname=%s\n' "$long" "a$long" | orvane --quiet
  $ calls 2 | sed "s/$long/long/"
  setPreset long
  setPreset along

The help has the commands of the protocol, in their order:

  $ "$CLIENT" help | grep -oE '^[A-Za-z]+' > known
  $ sed -n 's/^## `\(.*\)`.*/\1/p' "$TESTDIR/../../docs/protocol.md" | diff - known

What bash completes, and the manual page:

  $ orvane-client() { "$CLIENT" "$@"; }
  $ _init_completion() { words=("${COMP_WORDS[@]}") cword=$((${#words[@]} - 1)) cur=${words[-1]} prev=${words[-2]}; }
  $ . "$TESTDIR/../../tools/orvane-client/completion.bash"
  $ completed() { local COMP_WORDS=(orvane-client "$@") COMPREPLY=(); _orvane_client; echo "${COMPREPLY[@]}"; }
  $ completed showL
  showLive showLiveAtSubsplit
  $ completed --insecure --port 1 showLive spl
  splitid=
  $ completed setDetailViews s
  splitid= subsplit:id=
  $ completed setDetailViews subsplit:id=0,rb
  0,rbx= 0,rby=
  $ completed --trust
  --trust-on-first-use
  $ completed --ca x
  
  $ completed help showLiveA
  showLiveAtSubsplit
  $ completed watch getP
  getPresetsList getPertinentInfo
  $ completed ch
  check
  $ mkdir -p config/orvane-client; printf '[wall]\nhost=x\n' > config/orvane-client/profiles.ini
  $ completed --profile w
  wall
  $ for word in $(completed --) $(completed ''); do
  >     grep -q -e "${word//-/\\\\-}" "$TESTDIR/../../tools/orvane-client/orvane-client.1" || echo "$word is missing"
  > done
