% The calls that set up a one-tissue fit: the plasma curve as the measured
% input (in `unit`, or without a unit if it is empty), Generic_1TC with start
% values start = [k1 k2] and constant alpha and beta (constants = [alpha
% beta]), bounds [0 kmax(1)] and [0 kmax(2)] unless kmax is empty, and the
% Generic protocol with `optimizer`, which is also selected. Each row is
% one call's arguments.
function calls = one_tissue_calls(frames, plasma, unit, start, constants, kmax, optimizer)
  calls = {{'set', 'tac', 'plasma', [frames(:, 1), plasma]}};
  if ~isempty(unit), calls{end + 1, 1} = {'set', 'data', 'plasma', 'unit', unit}; end
  calls = [calls; {
    {'select', 'input', 'LinearInterpolation'}
    {'set', 'input', 'init', 'plasma'}
    {'select', 'model', 'Generic_1TC'}
    {'set', 'model', 'input', 'LinearInterpolation'}
    {'set', 'model', 'k1', 'initvalue', start(1)}
    {'set', 'model', 'k2', 'initvalue', start(2)}
    {'set', 'model', 'alpha', 'value', constants(1)}
    {'set', 'model', 'beta', 'value', constants(2)}
    {'set', 'model', 'alpha', 'state', 'const'}
    {'set', 'model', 'beta', 'state', 'const'}}];
  if ~isempty(kmax)
    calls = [calls; {
      {'set', 'model', 'k1', 'min', 0}
      {'set', 'model', 'k1', 'max', kmax(1)}
      {'set', 'model', 'k2', 'min', 0}
      {'set', 'model', 'k2', 'max', kmax(2)}}];
  end
  calls = [calls; {
    {'select', 'protocol', 'Generic'}
    {'set', 'protocol', 'model', 'Generic_1TC'}
    {'set', 'protocol', 'optimizer', optimizer}
    {'select', 'optimizer', optimizer}}];
end
