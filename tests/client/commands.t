What the client sends, what it prints, and how it ends. First at the example host:

  $ . "$TESTDIR/setup.sh"
  $ orvane showLive 'recorder=Nörd & gate' camera=3 commandtag=x
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><command>showLive</command><splitid>0</splitid><commandtag>x</commandtag></p:commandAccepted>
  host: showLive N\xc3\xb6rd & gate 3 0 0 (esc)
  $ orvane --pretty getRecorderList
  <p:getRecorderListResponse xmlns:p="http://www.halden.example/ravo_1_0/">
    <recorder name="North gate" ip="192.0.2.10" usename="" password="" maxnumchannels="16">
      <track name="Monday"/>
      <track name="Tuesday"/>
    </recorder>
  </p:getRecorderListResponse>
  host: getRecorderList
  $ ORVANE_PASSWORD=only-for-this-test orvane --trace --user operator getRecorderList
  |> <loginClient><username>operator</username><password>***</password></loginClient>\r\n
  |> \r\n
  |> <getRecorderList></getRecorderList>\r\n
  |> \r\n
  |< <p:getRecorderListResponse xmlns:p="http://www.halden.example/ravo_1_0/"><recorder name="North gate" ip="192.0.2.10"><track name="Monday" /><track name="Tuesday" /></recorder></p:getRecorderListResponse>\r\n
  |< \r\n
  <p:getRecorderListResponse xmlns:p="http://www.halden.example/ravo_1_0/"><recorder name="North gate" ip="192.0.2.10"><track name="Monday" /><track name="Tuesday" /></recorder></p:getRecorderListResponse>
  host: getRecorderList
  $ orvane --file - <<< '<setPreset><presetname>N</presetname></setPreset>'
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  host: setPreset N
  $ orvane showTrack recorder=R
  <p:commandRejected xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>showTrack</commandname><reason>showTrack command without valid track ID or track name</reason></p:commandRejected>
  orvane-client: showTrack was rejected: showTrack command without valid track ID or track name
  [2]
  $ orvane loginClient username=x
  $ orvane --wait news nope
  <p:commandRejected xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>nope</commandname><reason>Unknown command</reason></p:commandRejected>
  orvane-client: nope was rejected: Unknown command
  [2]
  $ orvane --no-login setPreset
  orvane-client: not logged in: without a login a host answers nothing
  [7]
  $ printf 'setPreset\nsetPreset\n' | ORVANE_PASSWORD=wrong orvane --user operator
  orvane-client: line 1: not logged in: the host does not accept the account, and answers nothing
  [7]
  $ "$CLIENT" --insecure --port "$port" getPresetsList > /dev/full
  orvane-client: cannot write to standard output: No space left on device
  [6]
  $ sed -n 's/^Host was asked:/host:/p' "$directory/host" > known_calls

A document is well-formed whatever the values are, has the keys in their order, and the groups of a name in one place:

  $ sent setPreset presetname=$'a\r\n\r\n\tb'
  host got: <setPreset><presetname>a&#13;&#10;&#13;&#10;&#9;b</presetname></setPreset>
  $ sent getPertinentInfo b=1 a=x=y:z 's:n=a\,b\\,m=\n' c= 's:n=<">'
  host got: <getPertinentInfo><b>1</b><a>x=y:z</a><ss><s n="a,b\" m="\n"/><s n="&lt;&quot;&gt;"/></ss><c></c></getPertinentInfo>
  $ sent setDetailViews subsplit:id=0,rbx=0.5,rby=0.25 splitid=2 subsplit:id=1,objectid=77
  host got: <setDetailViews><subsplits><subsplit id="0" rbx="0.5" rby="0.25"/><subsplit id="1" objectid="77"/></subsplits><splitid>2</splitid></setDetailViews>

What it does not send:

  $ orvane --bogus
  orvane-client: Unknown option 'bogus'. (--help tells more)
  [1]
  $ orvane --port 65536 setPreset
  orvane-client: "65536" is no port: it takes a number from 1 to 65535 (--help tells more)
  [1]
  $ orvane --timeout nan setPreset
  orvane-client: "nan" is no timeout: it takes seconds, above 0 and up to 86400 (--help tells more)
  [1]
  $ orvane --ca x setPreset
  orvane-client: --ca and --insecure exclude each other (--help tells more)
  [1]
  $ orvane --file nowhere.xml
  orvane-client: cannot read "nowhere.xml": No such file or directory (--help tells more)
  [1]
  $ orvane --file - setPreset
  orvane-client: "setPreset" is one command too many beside --file, --interactive or --show-certificate (--help tells more)
  [1]
  $ orvane --file - <<< $'<a>\r\n\r\n</a>'
  orvane-client: cannot send "-": the document holds an empty line (CR LF CR LF), where a host would cut it in two (--help tells more)
  [1]
  $ orvane --wait notice < /dev/null
  orvane-client: --wait and --no-reply go with one command only (--help tells more)
  [1]
  $ setsid --wait "$CLIENT" --user operator setPreset
  orvane-client: no password for "operator": set ORVANE_PASSWORD, name a --password-file, or give it at a terminal (--help tells more)
  [1]
  $ orvane "a x='1'"
  orvane-client: "a x='1'" is no XML name and so no command (--help tells more)
  [1]
  $ orvane c 1a=x
  orvane-client: "1a" is no XML name and so no key (--help tells more)
  [1]
  $ orvane c s:a=1,a=2
  orvane-client: the field "a" stands twice in one group "s" (--help tells more)
  [1]
  $ orvane c s:
  orvane-client: "" in the group "s" is no field: write field=value (--help tells more)
  [1]
  $ orvane c a=$'\x01'
  orvane-client: the value of "a" holds U+0001, which no XML document can hold (--help tells more)
  [1]

Lines of a pipe: all are sent, and the status is that of the first that failed.

  $ printf '%b' "# first\n\nsetPreset presetname='A b'\r\nsetPreset oops\nsetPreset \"open\nsetPreset presetname=\xff\n" \
  >     'nope\nsetPreset presetname=C' | orvane
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  orvane-client: line 4: "oops" is no parameter: write key=value
  orvane-client: line 5: a quote or a backslash at the end of the line is left open
  orvane-client: line 6: the value of "presetname" is not UTF-8
  <p:commandRejected xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>nope</commandname><reason>Unknown command</reason></p:commandRejected>
  orvane-client: line 7: nope was rejected: Unknown command
  <p:commandAccepted xmlns:p="http://www.halden.example/ravo_1_0/"><commandname>setPreset</commandname></p:commandAccepted>
  host: setPreset A b
  host: setPreset C
  [1]

The help has the commands of the protocol, in their order:

  $ orvane --help | sed -n '/^Commands:/,/^A parameter/s/^  \([A-Za-z]\+\) .*/\1/p' > known
  $ sed -n 's/^## `\(.*\)`.*/\1/p' "$TESTDIR/../../docs/protocol.md" | diff - known
