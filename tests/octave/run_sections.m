% Runs the sections of a test script and fails the script if any failed.
% Each section returns a cell of failure messages; an Octave error in a
% section is a failure too. With `fresh` set, each section starts on a newly
% loaded module. `only` (optional) names the sections to run.
function run_sections(name, sections, fresh, only)
  if nargin < 4, only = {}; end
  failures = {};
  for i = 1:numel(sections)
    section = func2str(sections{i});
    if ~isempty(only) && ~any(strcmp(section, only)), continue; end
    try
      if fresh
        clear kinetra;
        evalc('kinetra(''reset'');');
      end
      failures = [failures, cellfun(@(f) [section ': ' f], sections{i}(), 'UniformOutput', false)];
    catch err
      failures{end + 1} = sprintf('%s: Octave error: %s', section, err.message);
    end
  end
  if ~isempty(failures)
    printf('FAILED %s\n', failures{:});
    error('%s failed (%d)', name, numel(failures));
  end
  printf('%s passed\n', name);
end
