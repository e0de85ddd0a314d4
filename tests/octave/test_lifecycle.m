% The module over a long session: a thousand calls of fits and temporaries
% leave the memory of the Octave process flat, and loading and unloading the
% module a hundred times leaves no file open.
function test_lifecycle()
  addpath(fullfile(fileparts(mfilename('fullpath')), '..', '..', 'examples'));
  run_sections('test_lifecycle', {@memory_stays_flat, @descriptors_stay_flat}, false);
end

function kb = rss()
  % Resident memory of this process in kB, from /proc/self/status.
  text = fileread('/proc/self/status');
  kb = str2double(regexp(text, 'VmRSS:\s*(\d+)', 'tokens', 'once'){1});
end

function n = open_descriptors()
  % Entries of /proc/self/fd but '.' and '..'; the one that reads it counts each time.
  n = numel(readdir('/proc/self/fd')) - 2;
end

function calls = cycle(tissue, mask)
  % Ten calls: a fit of an array (new temporaries replace the data and the
  % mask of the last one), its maps, statistics and curves, the temporary
  % data read back, a refused fit and a parameter map set from an array.
  quiet('process', tissue, 'none', 'none', mask);
  k1 = kinetra('get', 'model', 'k1');
  [k2, e2, i2, s2] = kinetra('get', 'model', 'k2');
  chi = kinetra('get', 'chisquare');
  n = kinetra('get', 'numiter');
  tac = kinetra('get', 'tac', '_data_', 'none', [0 0 0]);
  [d, t] = kinetra('get', 'data', '_data_');
  quiet('process', 'nosuch', 'none', 'none', mask);
  quiet('set', 'model', 'k1', 'initvalue', 0.3 * ones(size(k1)));
  names = kinetra('get', 'data');
  calls = 10;
end

function f = memory_stays_flat()
  f = {};
  clear kinetra;
  % Data of 16x16x8 voxels (400 kB a copy, so that a leaked temporary shows
  % within the bound), of which a mask of 4 voxels is fitted.
  [frames, plasma, tissue] = one_tissue_data(2, 2, 2);
  tissue = repmat(tissue, [8 8 4 1]);
  mask = false(16, 16, 8);
  mask(1:2, 1:2, 1) = true;
  run_calls([one_tissue_calls(frames, plasma, '', [0.3 0.1], [1 0.05], [], 'Levenberg-Marquardt');
             {{'set', 'verbosity', 0}}]);
  % Warm-up: Octave's and the allocator's pools reach their working size.
  for i = 1:30
    cycle(tissue, mask);
  end
  start = rss();
  total = 0;
  samples = zeros(1, 10);
  for i = 1:100
    total += cycle(tissue, mask);
    if mod(i, 10) == 0, samples(i / 10) = rss(); end
  end
  growth = (samples(end) - start) / 1024;
  printf('memory: %d calls, RSS %.1f MB at the start, growth %.2f MB (samples %s)\n', total, start / 1024, ...
         growth, mat2str(round((samples - start) / 1024 * 10) / 10));
  % AddressSanitizer keeps freed blocks in quarantine, so under it the
  % resident size grows by design: the calls still run for its checks.
  if isempty(strfind(getenv('LD_PRELOAD'), 'asan'))
    f = expect(f, growth < 4, 'RSS grew by %.2f MB over %d calls', growth, total);
  end
  quiet('set', 'verbosity', 1);
end

function f = descriptors_stay_flat()
  % Each cycle loads the module, opens a log file, writes to it and unloads.
  f = {};
  logfile = [tempname() '.log'];
  clear kinetra;
  evalc('kinetra(''reset'');');
  clear kinetra;
  before = open_descriptors();
  for i = 1:100
    quiet('set', 'logfile', logfile);
    quiet('status');
    quiet('set', 'verbosity', 1);
    clear kinetra;
  end
  after = open_descriptors();
  printf('descriptors: %d before, %d after 100 load and unload cycles\n', before, after);
  f = expect(f, after <= before, 'open descriptors went from %d to %d', before, after);
  if exist(logfile, 'file'), delete(logfile); end
end

