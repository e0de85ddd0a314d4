% Runs each row of `calls` (one call's arguments) quietly; returns what they printed.
function out = run_calls(calls)
  out = '';
  for i = 1:numel(calls)
    out = [out, quiet(calls{i}{:})];
  end
end
