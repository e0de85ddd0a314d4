% Appends a failure to f for each model parameter in `names` whose fitted map
% differs in size from its truth or by more than `tol` relative to it.
function f = expect_maps(f, names, truths, tol)
  for i = 1:numel(names)
    got = kinetra('get', 'model', names{i});
    ok = isequal(size(got), size(truths{i})) && max(abs(got(:) - truths{i}(:)) ./ abs(truths{i}(:))) < tol;
    f = expect(f, ok, '%s %s against %s', names{i}, mat2str(got(:)', 8), mat2str(truths{i}(:)', 8));
  end
end
