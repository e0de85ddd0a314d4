% The command spine as a user meets it in Octave.
function test_spine()
  ok = true;
  clear kinetra;
  out = evalc('kinetra(''help'', ''nosuch'');');
  ok &= ~isempty(strfind(out, "Kinetra 0.8, The MORVANE Pharmacokinetic Modeling Toolbox\n"));
  ok &= ~isempty(strfind(out, "no help for 'nosuch'\n"));

  overview = evalc('kinetra');
  head = ["KINETRA Pharmacokinetic Modeling Toolbox\nThe following commands are available:\n" ...
          "  'cluster' : cluster data in kinetra\n"];
  ok &= check_output('overview head', head, overview(1:min(end, numel(head))));
  ok &= check_output('help', overview, evalc('kinetra(''help'')'));
  words = {'cluster','create','delete','exit','filter','get','help','process','quit','read', ...
           'reset','select','set','show','status','write'};
  last = 0;
  for i = 1:numel(words)
    pos = strfind(overview, sprintf("'%s'", words{i}));
    if strcmp(words{i}, 'quit'), pos = strfind(overview, '  QUIT   '); end
    ok &= ~isempty(pos) && pos(1) > last;
    if ~isempty(pos), last = pos(1); end
  end

  ok &= check_output('unknown', "KINETRA: unknown or invalid command 'nosuch a ... b'\n", ...
                     evalc('kinetra(''nosuch'', ''a'', 5, ''b'');'));
  ok &= check_output('number', ...
    "KINETRA: array element is no string\nKINETRA: unknown or invalid command ''\n", evalc('kinetra(17);'));
  for w = {'exit', 'quit'}
    out = evalc(sprintf('kinetra(''%s'');', w{1}));
    ok &= ~isempty(regexp(out, ['^ERROR Command\(\d+\): Function is not defined!\nProgramming error...\n \n' ...
                                "KINETRA: unknown or invalid command '" w{1} "'\n$"], 'once'));
  end

  x = kinetra('reset');
  ok &= islogical(x) && isscalar(x) && ~x;
  ok &= check_output('reset prints nothing', '', evalc('kinetra(''reset'');'));
  out = evalc('kinetra(''status'')');
  ok &= ~isempty(regexp(out, '^STATUS: mem [0-9.]+[KM] real [0-9.]+[KM] virtual, time [0-9.]+s user [0-9.]+s sys\n', 'once'));

  % Unloading destroys the workspace; the next call loads a fresh one.
  clear kinetra;
  out = evalc('kinetra(''reset'');');
  ok &= ~isempty(strfind(out, 'Kinetra 0.8, The MORVANE'));

  if ~ok
    error('test_spine failed');
  end
  printf('test_spine passed\n');
end
